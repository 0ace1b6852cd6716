/* Downloads the one-minute bars of a range of days into a file of comma-separated values.
 *
 *     QRX_PASSWORD=demo ./bars_csv 127.0.0.1 7700 demo 600000.SH 20240102 20240108 week.csv
 */
#include <inttypes.h>
#include <qrx/qrx.h>
#include <stdio.h>
#include <stdlib.h>

static int fail(const char* text) {
    fprintf(stderr, "%.64s\n", text);
    return 1;
}

/* 10.2900 of 102900 */
static void put_price(FILE* file, int64_t price) {
    fprintf(file, ",%" PRId64 ".%04" PRId64, price / 10000, price % 10000);
}

static int write_bars(const char* path, const QRXDefine_KLine* bars, int count) {
    FILE* file = fopen(path, "w");
    if (!file) return fail("cannot open the file");
    fputs("code,date,time,open,high,low,close,volume,turnover,trades\n", file);
    for (const QRXDefine_KLine* bar = bars; bar != bars + count; ++bar) {
        fprintf(file, "%.32s,%04d-%02d-%02d,%02d:%02d:%02d.%03d", bar->chVelaCode,
                bar->nDate / 10000, bar->nDate / 100 % 100, bar->nDate % 100, bar->nTime / 10000000,
                bar->nTime / 100000 % 100, bar->nTime / 1000 % 100, bar->nTime % 1000);
        put_price(file, bar->nOpen);
        put_price(file, bar->nHigh);
        put_price(file, bar->nLow);
        put_price(file, bar->nClose);
        fprintf(file, ",%" PRId64, bar->iVolume);
        put_price(file, bar->iTurnover);
        fprintf(file, ",%d\n", bar->nMatchItems);
    }
    return fclose(file) ? fail("cannot write the file") : 0;
}

int main(int argc, char** argv) {
    const char* password = getenv("QRX_PASSWORD");
    if (argc != 8 || !password) {
        fprintf(stderr, "usage: QRX_PASSWORD=... %s ADDRESS PORT USER CODE FROM TO FILE\n",
                argv[0]);
        return 2;
    }
    OPEN_SETTINGS settings = {"", "", "", "", 30, 2, 1};
    snprintf(settings.szIP, sizeof settings.szIP, "%s", argv[1]);
    snprintf(settings.szPort, sizeof settings.szPort, "%s", argv[2]);
    snprintf(settings.szUser, sizeof settings.szUser, "%s", argv[3]);
    snprintf(settings.szPassword, sizeof settings.szPassword, "%s", password);
    static QRXDefine_ResLogin login;
    void* h = QRX_Open(&settings, &login);
    if (!h) return fail(login.szInfo);

    QRXDefine_ReqKLine request = {0};
    snprintf(request.chCode, sizeof request.chCode, "%s", argv[4]);
    request.nCycType = CYC_MINUTE;
    request.nCycDef = 1;
    request.nBeginDate = atoi(argv[5]);
    request.nEndDate = atoi(argv[6]);
    QRXDefine_KLine* bars;
    int count, code = QRX_GetKLine(h, &request, &bars, &count);
    int status;
    if (code == QRX_OK) {
        status = write_bars(argv[7], bars, count);
        QRX_Free(bars);
    } else {
        status = fail(code == QRX_ERR_NO_DATA ? "there are no such bars" : "the request failed");
    }
    QRX_Close(h);
    return status;
}
