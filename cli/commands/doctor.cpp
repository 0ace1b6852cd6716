// doctor: from the settings to a measured transfer, one line a step, with what to do where a step
// fails. The steps after a failed one are not tried, since they need it.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>

#include "app/context.h"
#include "app/failure.h"
#include "app/interrupt.h"
#include "commands/command.h"
#include "commands/kinds.h"
#include "doctor/reach.h"
#include "text/dates.h"

namespace qrx::cli {
namespace {

using Clock = std::chrono::steady_clock;

double Since(Clock::time_point begin) {
    return std::chrono::duration<double>(Clock::now() - begin).count();
}

std::string Number(double dValue, const char* szFormat) {
    char szText[64];
    snprintf(szText, sizeof szText, szFormat, dValue);
    return szText;
}

bool Utf8Terminal() {
    for (const char* szName : {"LC_ALL", "LC_CTYPE", "LANG"}) {
        const char* szValue = getenv(szName);
        if (szValue == nullptr || *szValue == '\0') continue;
        return strcasestr(szValue, "utf-8") != nullptr || strcasestr(szValue, "utf8") != nullptr;
    }
    return false;
}

// One line a step as soon as it is known.
class Page {
public:
    explicit Page(const Arguments& args) : m_sink(args.Get("--output")), m_bUtf8(Utf8Terminal()) {}

    void Good(const std::string& strLine) { Line(m_bUtf8 ? "\u2713 " : "ok   ", strLine); }
    // strCure: what to do, a sentence without its full stop.
    void Bad(const std::string& strLine, const std::string& strCure) {
        Line(m_bUtf8 ? "\u2717 " : "FAIL ", strLine + ". " + strCure + ".");
    }
    void Finish() { m_sink.Finish(); }

private:
    void Line(const char* szMark, const std::string& strLine) {
        m_sink.Write(szMark + strLine + "\n");
        m_sink.Flush();
    }
    Sink m_sink;
    const bool m_bUtf8;
};

class Doctor {
public:
    explicit Doctor(Context& context) : m_context(context), m_page(context.Args()) {}

    // The exit code of the step that failed, EXIT_OK when none did.
    ExitCode Run() {
        const bool bWell = Try([this] { Settle(); }) && Try([this] { ReachOut(); }) &&
                           Try([this] { LogIn(); }) && Try([this] { Measure(); });
        m_page.Finish();
        return bWell ? EXIT_OK : m_nFailed;
    }

private:
    template <class Step>
    bool Try(Step step) {
        m_strCure.clear();
        try {
            step();
            return true;
        } catch (const Failure& failure) {
            interrupt::Check();
            m_page.Bad(failure.Sentence(), m_strCure);
            m_nFailed = failure.Code();
            return false;
        }
    }

    void Settle() {
        m_strCure = "Mend that; \"qrx --help\" says where settings come from";
        const Settings& settings = m_context.GetSettings();
        m_page.Good("settings: server " + settings.server.Text() + ", user " + settings.strUser +
                    (settings.password ? ", a password" : ", no password (it will be asked for)"));
    }

    void ReachOut() {
        const Settings& settings = m_context.GetSettings();
        const bool bProxy = settings.proxy.has_value();
        const Address& first = bProxy ? settings.proxy->address : settings.server;
        const std::string strWho = (bProxy ? "the proxy " : "the server ") + first.Text();
        m_strCure = "Check the name, and that this machine can resolve names";
        const std::string strIPv4 = ResolveIPv4(first.strHost);
        m_strCure = bProxy ? "Check that the proxy runs there; see --proxy"
                           : "Check that the server runs there and that no firewall holds port " +
                                 std::to_string(first.nPort) + "; see --server and --proxy";
        double dMs = 0;
        try {
            dMs = Reach(strIPv4, first.nPort, settings.nTimeOut);
        } catch (const Failure& failure) {
            throw Failure(failure.Code(), "cannot reach " + strWho + ": " + failure.Sentence());
        }
        m_page.Good("reached " + strWho + (strIPv4 != first.strHost ? " at " + strIPv4 : "") +
                    " in " + Number(dMs, "%.1f ms") +
                    (bProxy ? "; the server is asked through it" : ", without a proxy"));
    }

    void LogIn() {
        const Settings& settings = m_context.GetSettings();
        // Asked for before the clock runs.
        if (!settings.password) m_context.UsePassword(AskPassword(settings.strUser));
        m_strCure = "Ask whoever runs the server whether this user and password are right";
        const auto begin = Clock::now();
        Connection* pConnection = nullptr;
        try {
            pConnection = &m_context.Connect();
        } catch (const Failure& failure) {
            if (failure.Code() == EXIT_NETWORK || failure.Code() == EXIT_TIME_OUT) {
                m_strCure = settings.proxy
                                ? "The proxy answers; check that it may connect to the server, and "
                                  "its password (--proxy-password-file)"
                                : "Something answers at that port, but not as such a server; check "
                                  "--server";
            } else if (failure.Code() == EXIT_NO_DATA) {
                m_strCure = "Securities have to be imported into the server first";
            }
            throw;
        }
        const double dSeconds = Since(begin);
        m_page.Good("the password of " + settings.strUser +
                    " is accepted; login and code tables took " +
                    Number(dSeconds * 1e3, "%.1f ms"));
        const auto codes = pConnection->Get().Codes();
        pConnection->Check(codes.code, "securities");
        const Decoder decoder(settings.strEncoding);
        std::map<std::string, int> counts;
        for (const QRXDefine_Code& code : codes.value)
            ++counts[std::string(FieldView(code.szMarket))];
        std::string strList;
        for (const std::string& strMarket : pConnection->Markets()) {
            strList += (strList.empty() ? "" : ", ") + decoder.ToUtf8(strMarket) + " (" +
                       std::to_string(counts[strMarket]) + ")";
        }
        m_page.Good("markets, with their securities: " + strList);
    }

    // The bars of all years tell the last day with data of some securities; the ticks or snapshots
    // of that day are what is measured.
    void Measure() {
        Connection& connection = m_context.Connect();
        const auto codes = connection.Get().Codes();
        // Indexes last: much in their records is empty.
        std::vector<QRXDefine_Code> vecCodes(codes.value.begin(), codes.value.end());
        std::stable_partition(vecCodes.begin(), vecCodes.end(), [](const QRXDefine_Code& code) {
            return KindOfType(code.nType) != std::string_view("index");
        });
        std::map<std::string, int> tried;
        constexpr int kTriesPerMarket = 3;
        const RecordKind days = BarKind(ParseCycle("d"));
        for (const QRXDefine_Code& code : vecCodes) {
            if (++tried[std::string(FieldView(code.szMarket))] > kTriesPerMarket) continue;
            constexpr int kFirstDay = 19900101;
            const auto begin = Clock::now();
            const Fetched bars = days.fetch(connection.Get(), code, {kFirstDay, TodayAtExchange()});
            const double dSeconds = Since(begin);
            if (bars.code == ResultCode::NoData) continue;
            connection.Check(bars.code, "bars");
            m_page.Good("a round trip takes " + Number(dSeconds * 1e3, "%.1f ms") + " (" +
                        std::to_string(bars.nCount) + " daily bars of " +
                        std::string(FieldView(code.szVelaCode)) + ")");
            const auto* pBars = static_cast<const QRXDefine_KLine*>(bars.pRecords);
            if (Transfer(code, pBars[bars.nCount - 1].nDate)) return;
        }
        m_strCure = "Import data into the server, or simulate some, and ask again";
        throw Failure(EXIT_NO_DATA,
                      "the first securities of each market have no data to measure with");
    }

    bool Transfer(const QRXDefine_Code& code, int nDate) {
        Connection& connection = m_context.Connect();
        for (const char* szKind : {"ticks_book", "futures_book"}) {
            const RecordKind& kind = KindOf(szKind);
            const auto begin = Clock::now();
            const Fetched day = kind.fetch(connection.Get(), code, {nDate, nDate});
            const double dSeconds = Since(begin);
            if (day.code == ResultCode::WrongType || day.code == ResultCode::NoData) continue;
            connection.Check(day.code, kind.szPlural);
            const auto dBytes = static_cast<double>(day.nCount * kind.nRecordBytes);
            m_page.Good("transfer: " + std::to_string(day.nCount) + " " + kind.szPlural + " of " +
                        std::string(FieldView(code.szVelaCode)) + " on " + DateText(nDate) +
                        " in " + Number(dSeconds * 1e3, "%.1f ms") + ", " +
                        Number(static_cast<double>(day.nCount) / dSeconds, "%.0f records/s") +
                        " (" + Number(dBytes / dSeconds / 1e6, "%.1f MB/s of records") + ")");
            return true;
        }
        return false;
    }

    Context& m_context;
    Page m_page;
    std::string m_strCure;
    ExitCode m_nFailed = EXIT_OK;
};

}  // namespace

void RunDoctor(Context& context) {
    const ExitCode nCode = Doctor(context).Run();
    if (nCode != EXIT_OK) throw Failure(nCode, "");
}

}  // namespace qrx::cli
