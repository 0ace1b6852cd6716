// doctor: goes the way of a request step by step, a line each with a tick or a cross, and says
// what to do about a cross. The first cross ends the walk and gives the exit code.
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>

#include "app/context.h"
#include "app/failure.h"
#include "commands/command.h"
#include "commands/series.h"
#include "doctor/reach.h"
#include "doctor/report.h"
#include "text/dates.h"

namespace qrx::cli {
namespace {

using SteadyClock = std::chrono::steady_clock;

double SecondsSince(SteadyClock::time_point begin) {
    return std::chrono::duration<double>(SteadyClock::now() - begin).count();
}

std::string Number(double dValue, int nDecimals) {
    char szText[48];
    snprintf(szText, sizeof szText, "%.*f", nDecimals, dValue);
    return szText;
}

std::string Milliseconds(double dSeconds) {
    return Number(dSeconds * 1000, dSeconds < 0.01 ? 2 : 0) + " ms";
}

class Doctor {
public:
    explicit Doctor(Context& context)
        : m_context(context), m_report(context.Args().Get("--output")) {}
    void Run();

private:
    void Steps();
    void ReadSettings();
    void Reach();
    void LogIn();
    void ListMarkets();
    void Answers();
    bool Speed(const QRXDefine_Code& code);
    template <class Record, class Request>
    bool Measure(const QRXDefine_Code& code, int nDate, const char* szWhat,
                 Result<Array<Record>> (Session::*pfnFetch)(const Request&));
    Result<Array<QRXDefine_KLine>> DailyBars(const QRXDefine_Code& code, int nFrom, int nTo);

    Connection& Connected() { return m_context.Connect(); }
    const Settings& Said() const { return m_context.GetSettings(); }

    Context& m_context;
    Report m_report;
    std::vector<QRXDefine_Code> m_vecSamples;  // a security of each market, or the one asked for
};

void Doctor::ReadSettings() {
    try {
        const Settings& settings = Said();
        const std::string strProxy =
            settings.proxy ? "proxy " + settings.proxy->address.Text() : std::string("no proxy");
        m_report.Good("settings", "server " + settings.server.Text() + ", user " +
                                      settings.strUser + ", " + strProxy);
    } catch (const Failure& failure) {
        throw Cross{"settings", failure.Code(), failure.Sentence(), ""};
    }
}

// The first hop: the proxy where there is one.
void Doctor::Reach() {
    const Address& first = Said().proxy ? Said().proxy->address : Said().server;
    std::string strNumbers;
    for (const Address& address : {first, Said().server}) {
        try {
            const std::string strResolved = ResolveIPv4(address.strHost);
            if (strNumbers.empty()) strNumbers = strResolved;
        } catch (const Failure& failure) {
            throw Cross{"address", failure.Code(), failure.Sentence(),
                        "check how the name is written, and whether this machine's DNS works"};
        }
    }
    m_report.Good("address", first.strHost + " is " + strNumbers);

    const auto begin = SteadyClock::now();
    const int nError = TryConnect(strNumbers, first.nPort, Said().nTimeOut);
    if (nError == 0) {
        return m_report.Good("network", (Said().proxy ? "the proxy " : "") + first.Text() +
                                            " takes a connection within " +
                                            Milliseconds(SecondsSince(begin)));
    }
    const std::string strText = "cannot connect to " + first.Text() + ": " + strerror(nError);
    if (nError == ECONNREFUSED) {
        throw Cross{"network", EXIT_NETWORK, strText,
                    "nothing listens there: is it started, and is this the right port?"};
    }
    throw Cross{"network", nError == ETIMEDOUT ? EXIT_TIME_OUT : EXIT_NETWORK, strText,
                "is there a way from here, or a firewall between? a proxy is named with --proxy"};
}

void Doctor::LogIn() {
    const bool bProxy = Said().proxy.has_value();
    const auto passed = [&] {
        if (bProxy) m_report.Good("proxy", "passes the connection on to " + Said().server.Text());
    };
    auto begin = SteadyClock::now();
    try {
        if (!Said().password) m_context.UsePassword(AskPassword(Said().strUser));
        begin = SteadyClock::now();  // a question takes as long as it takes
        Connected();
    } catch (const Failure& failure) {
        const char* szStep = "login";
        std::string strCure;
        if (failure.Code() == EXIT_NETWORK && bProxy) {
            szStep = "proxy";
            strCure =
                "check kind, user and password of the proxy (QRX_PROXY_PASSWORD), and "
                "whether it may reach " +
                Said().server.Text();
        } else if (failure.Code() == EXIT_NETWORK) {
            strCure = "another service may have this port: check --server";
        } else if (failure.Code() == EXIT_TIME_OUT) {
            strCure = "it takes connections and is silent: is it such a server, and is it well?";
        } else if (failure.Code() == EXIT_LOGIN) {
            passed();
            strCure =
                "check user and password (QRX_PASSWORD, --password-file or the settings "
                "file), and with the server's operator the markets";
        } else if (failure.Code() == EXIT_NO_DATA) {
            passed();
            strCure = "the server's operator has to load securities";
        }
        throw Cross{szStep, failure.Code(), failure.Sentence(), strCure};
    }
    const std::string strPassed = Milliseconds(SecondsSince(begin));
    passed();
    m_report.Good("login", "password accepted and code tables loaded in " + strPassed);
}

void Doctor::ListMarkets() {
    std::string strList;
    for (const std::string& strMarket : Connected().Markets()) {
        const auto codes = Connected().Get().Codes(strMarket.c_str());
        strList += (strList.empty() ? "" : ", ") + strMarket + " (" +
                   std::to_string(codes.value.size()) + " securities)";
        // An index has the least to fetch.
        const auto it = std::find_if(codes.value.begin(), codes.value.end(), [](const auto& code) {
            return std::string(KindOfType(code.nType & 0xFF)) != "index";
        });
        if (it != codes.value.end()) m_vecSamples.push_back(*it);
    }
    m_report.Good("markets", strList);
    if (!m_context.Args().Has("CODE")) return;
    try {
        m_vecSamples = {Connected().FindCode(m_context.Args().Get("CODE"))};
    } catch (const Failure& failure) {
        throw Cross{"security", failure.Code(), failure.Sentence(), ""};
    }
}

Result<Array<QRXDefine_KLine>> Doctor::DailyBars(const QRXDefine_Code& code, int nFrom, int nTo) {
    QRXDefine_ReqKLine request{};
    request.nCycType = CYC_DAY;
    request.nCycDef = 1;
    FillRequest(request, code, nFrom, nTo, 0, 0);
    return Connected().Get().Bars(request);
}

// No data is an answer too.
void Doctor::Answers() {
    if (m_vecSamples.empty()) return;
    double dBest = 1e9;
    for (int i = 0; i < 5; ++i) {
        const auto begin = SteadyClock::now();
        const int nToday = TodayAtExchange();
        const auto bars = DailyBars(m_vecSamples[0], nToday, nToday);
        dBest = std::min(dBest, SecondsSince(begin));
        if (bars || bars.code == ResultCode::NoData) continue;
        try {
            Connected().Check(bars.code, "daily bars");
        } catch (const Failure& failure) {
            if (failure.Code() == EXIT_INTERRUPTED) throw;
            throw Cross{"answers", failure.Code(), failure.Sentence(),
                        "the login went well, a request did not: the server's log may say why"};
        }
    }
    m_report.Good("answers", "a small request is answered within " + Milliseconds(dBest) +
                                 ", the best of five");
}

// Whole days again and again for a third of a second.
template <class Record, class Request>
bool Doctor::Measure(const QRXDefine_Code& code, int nDate, const char* szWhat,
                     Result<Array<Record>> (Session::*pfnFetch)(const Request&)) {
    constexpr double kEnough = 0.3;
    constexpr double kMebi = 1 << 20;
    Request request{};
    FillRequest(request, code, nDate, nDate, 0, 0);
    size_t nRows = 0;
    int nRounds = 0;
    double dPassed = 0;
    for (const auto begin = SteadyClock::now(); dPassed < kEnough; ++nRounds) {
        const auto result = (Connected().Get().*pfnFetch)(request);
        if (result.code == ResultCode::NoData) return false;
        Connected().Check(result.code, szWhat);
        nRows += result.value.size();
        dPassed = SecondsSince(begin);
    }
    const auto dRows = static_cast<double>(nRows);
    m_report.Good("speed", Number(dRows / nRounds, 0) + " " + szWhat + " of " +
                               std::string(FieldView(code.szVelaCode)) + " on " + DateText(nDate) +
                               " in " + Milliseconds(dPassed / nRounds) + ": " +
                               Number(dRows / dPassed, 0) + " rows/s, " +
                               Number(dRows * sizeof(Record) / dPassed / kMebi, 1) +
                               " MiB/s of records");
    return true;
}

// False when the security has no data.
bool Doctor::Speed(const QRXDefine_Code& code) {
    constexpr int kFirstDay = 19900101;
    int nDate = 0;
    if (m_context.Args().Has("--date")) {
        nDate = ParseDate(m_context.Args().Get("--date"), "--date");
    } else {
        const auto bars = DailyBars(code, kFirstDay, TodayAtExchange());
        if (bars.code == ResultCode::NoData) return false;
        Connected().Check(bars.code, "daily bars");
        nDate = bars.value[bars.value.size() - 1].nDate;
    }
    if (IsContract(code)) {
        return Measure(code, nDate, "snapshots", &Session::FuturesWithBook);
    }
    return Measure(code, nDate, "ticks", &Session::TicksWithBook);
}

void Doctor::Steps() {
    ReadSettings();
    if (m_context.Args().Has("--date")) ParseDate(m_context.Args().Get("--date"), "--date");
    Reach();
    LogIn();
    ListMarkets();
    Answers();
    std::string strTried;
    for (const QRXDefine_Code& code : m_vecSamples) {
        try {
            if (Speed(code)) return;
        } catch (const Failure& failure) {
            if (failure.Code() == EXIT_INTERRUPTED) throw;
            throw Cross{"speed", failure.Code(), failure.Sentence(), ""};
        }
        strTried += (strTried.empty() ? "" : ", ") + std::string(FieldView(code.szVelaCode));
    }
    throw Cross{"speed", EXIT_NO_DATA, "found no day with data of " + strTried,
                "name one that you know: qrx doctor CODE --date DATE"};
}

void Doctor::Run() {
    try {
        Steps();
    } catch (const Cross& cross) {
        m_report.Bad(cross);
        m_report.Finish();
        throw Failure(cross.nCode, "");
    }
    m_report.Finish();
}

}  // namespace

void RunDoctor(Context& context) {
    Doctor(context).Run();
}

}  // namespace qrx::cli
