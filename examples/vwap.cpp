// The volume-weighted average price of every minute of a day, from its trades.
//
//     QRX_PASSWORD=demo ./vwap 127.0.0.1 7700 demo 600000.SH 20240105
#include <cstdio>
#include <cstdlib>
#include <map>
#include <qrx/qrx.hpp>
#include <utility>

namespace {

constexpr double kPriceUnit = 10000;  // of the reference server

struct Minute {
    double fAmount = 0;
    long long nVolume = 0;
};

template <std::size_t nWidth>
void Fill(char (&field)[nWidth], const char* szText) {
    std::snprintf(field, nWidth, "%s", szText);
}

}  // namespace

int main(int argc, char** argv) {
    const char* szPassword = std::getenv("QRX_PASSWORD");
    if (argc != 6 || szPassword == nullptr) {
        std::fprintf(stderr, "usage: QRX_PASSWORD=... %s ADDRESS PORT USER CODE DATE\n", argv[0]);
        return 2;
    }
    OPEN_SETTINGS settings{};
    Fill(settings.szIP, argv[1]);
    Fill(settings.szPort, argv[2]);
    Fill(settings.szUser, argv[3]);
    Fill(settings.szPassword, szPassword);
    settings.nTimeOutVal = 30;
    qrx::OpenResult opened = qrx::Session::Open(settings);
    if (!opened) return std::fprintf(stderr, "%.64s\n", opened.login.szInfo), 1;

    QRXDefine_ReqTransaction request{};
    Fill(request.chCode, argv[4]);
    request.nBeginDate = request.nEndDate = std::atoi(argv[5]);
    const auto trades = opened.session.Trades(request);
    if (!trades) return std::fprintf(stderr, "%s\n", qrx::Message(trades.code)), 1;

    // By date and minute: a night belongs to the trading day, and keeps its calendar date.
    std::map<std::pair<int, int>, Minute> minutes;
    for (const QRXDefine_Transaction& trade : trades.value) {
        if (trade.chFlag1 == 'C') continue;  // a cancelled order is no trade
        const int nPrice = trade.nTradeValue[0], nVolume = trade.nTradeValue[1];
        Minute& minute = minutes[{trade.nDate, trade.nTime / 100000}];
        minute.fAmount += nPrice / kPriceUnit * nVolume;
        minute.nVolume += nVolume;
    }
    for (const auto& [when, minute] : minutes) {
        const auto [nDate, nTime] = when;
        std::printf("%d %02d:%02d %.4f %lld\n", nDate, nTime / 100, nTime % 100,
                    minute.fAmount / static_cast<double>(minute.nVolume), minute.nVolume);
    }
}
