// The shortest useful program in C++: a day of ticks, in objects that clean up after themselves.
#include <cstdio>
#include <qrx/qrx.hpp>

int main() {
    const OPEN_SETTINGS settings = {"127.0.0.1", "7700", "demo", "demo", 30, 2, 1};
    qrx::OpenResult opened = qrx::Session::Open(settings);
    if (!opened) return std::fprintf(stderr, "%.64s\n", opened.login.szInfo), 1;
    const auto ticks = opened.session.Ticks({"600000.SH", 20240105, 20240105, 0, 0});
    if (!ticks) return std::fprintf(stderr, "%s\n", qrx::Message(ticks.code)), 1;
    long long nVolume = 0;
    for (const QRXDefine_Tick& tick : ticks.value) nVolume += tick.iVolume;
    std::printf("%zu ticks, volume %lld\n", ticks.value.size(), nVolume);
}
