#include <qrx/qrx.h>
#include <stdio.h>
int main(void) {
    OPEN_SETTINGS settings = {"127.0.0.1", "7700", "demo", "demo", 30, 2, 1};
    static QRXDefine_ResLogin login;
    void* h = QRX_Open(&settings, &login);
    if (!h) return fprintf(stderr, "%s\n", login.szInfo), 1;
    QRXDefine_ReqTick req = {"600000.SH", 20240105, 20240105, 0, 0};
    QRXDefine_Tick* ticks;
    int count, code = QRX_GetTick(h, &req, &ticks, &count);
    printf("result %d, %d ticks\n", code, code ? 0 : count);
    if (!code) QRX_Free(ticks);
    return QRX_Close(h);
}
