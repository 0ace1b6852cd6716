// The table of settings, and the order in which their sources count.
#include "settings/settings.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>

#include "app/failure.h"

namespace qrx::cli {
namespace {

struct Value {
    std::string strText;
    std::string strWhere;  // "--server", "QRX_SERVER" or "server in ~/.config/qrx/config"
};

std::string EnvironmentName(const std::string& strKey) {
    std::string strName = "QRX_" + strKey;
    for (char& ch : strName) {
        ch = ch == '-' ? '_' : static_cast<char>(toupper(static_cast<unsigned char>(ch)));
    }
    return strName;
}

std::string SettingsPath() {
    if (const char* szPath = getenv("QRX_CONFIG"); szPath != nullptr && *szPath) return szPath;
    if (const char* szBase = getenv("XDG_CONFIG_HOME"); szBase != nullptr && *szBase) {
        return std::string(szBase) + "/qrx/config";
    }
    const char* szHome = getenv("HOME");
    return szHome != nullptr ? std::string(szHome) + "/.config/qrx/config" : std::string();
}

// All sources, asked in the order of their weight.
class Sources {
public:
    explicit Sources(const Arguments& arguments)
        : m_arguments(arguments), m_strPath(SettingsPath()), m_file(ReadSettingsFile(m_strPath)) {}

    enum Level { OPTION, ENVIRONMENT, FILE };

    std::optional<Value> At(Level level, const std::string& strKey) const {
        if (level == OPTION && m_arguments.Has("--" + strKey)) {
            return Value{m_arguments.Get("--" + strKey), "--" + strKey};
        }
        if (level == ENVIRONMENT) {
            const std::string strName = EnvironmentName(strKey);
            const char* szValue = getenv(strName.c_str());
            if (szValue != nullptr && *szValue) return Value{szValue, strName};
        }
        if (level == FILE && m_file.count(strKey) != 0) {
            return Value{m_file.at(strKey), strKey + " in " + m_strPath};
        }
        return std::nullopt;
    }
    std::optional<Value> Find(const std::string& strKey) const {
        for (const Level level : {OPTION, ENVIRONMENT, FILE}) {
            if (auto value = At(level, strKey)) return value;
        }
        return std::nullopt;
    }
    // A secret stands for itself, or in a file that is named; at the same level the former counts.
    std::optional<std::string> Secret(const std::string& strKey) const {
        for (const Level level : {OPTION, ENVIRONMENT, FILE}) {
            if (level != OPTION) {
                if (auto value = At(level, strKey)) return value->strText;
            }
            if (auto value = At(level, strKey + "-file")) {
                return ReadSecretFile(value->strText, value->strWhere);
            }
        }
        return std::nullopt;
    }

private:
    const Arguments& m_arguments;
    std::string m_strPath;
    std::map<std::string, std::string> m_file;
};

unsigned ParseCount(const Value& value, unsigned nLeast, unsigned nMost, const char* szExample) {
    unsigned nCount = 0;
    const char* pEnd = value.strText.data() + value.strText.size();
    const auto [p, error] = std::from_chars(value.strText.data(), pEnd, nCount);
    if (error != std::errc() || p != pEnd || nCount < nLeast || nCount > nMost) {
        RefuseUsage(value.strWhere + ": \"" + value.strText + "\" is no number from " +
                    std::to_string(nLeast) + " to " + std::to_string(nMost) + ", such as " +
                    szExample);
    }
    return nCount;
}

int ParsePriceUnit(const Value& value) {
    int nDigits = 0;
    std::string strUnit = "1";
    for (; nDigits <= 9; ++nDigits, strUnit += '0') {
        if (value.strText == strUnit) return nDigits;
    }
    RefuseUsage(value.strWhere + ": \"" + value.strText +
                "\" is no power of ten up to 1000000000, such as 10000");
}

void CheckLength(const std::string& strText, size_t nMost, const std::string& strWhat) {
    if (strText.size() <= nMost) return;
    RefuseUsage("the " + strWhat + " has " + std::to_string(strText.size()) +
                " bytes; a login carries at most " + std::to_string(nMost));
}

}  // namespace

std::span<const SettingRow> SettingRows() {
    static constexpr SettingRow kRows[] = {
        {"server", "--server", "HOST:PORT", "the server (port 7700 when none is given)"},
        {"user", "--user", "NAME", "the user to log in as"},
        {"password", nullptr, nullptr, "the user's password"},
        {"password-file", "--password-file", "FILE", "file with the password, mode 0600"},
        {"timeout", "--timeout", "SECONDS", "how long to wait for an answer (default 30)"},
        {"retries", "--retries", "N", "how often to connect again (default 2)"},
        {"proxy", "--proxy", "URL",
         "socks5://, socks4://, socks4a:// or http://, then [USER@]HOST:PORT"},
        {"proxy-password", nullptr, nullptr, "the proxy's password"},
        {"proxy-password-file", "--proxy-password-file", "FILE",
         "file with the proxy's password, mode 0600"},
        {"encoding", "--encoding", "NAME", "of the server's texts (default gb18030)"},
        {"price-unit", "--price-unit", "N", "what a price of 1 is sent as (default 10000)"}};
    return kRows;
}

Settings ReadSettings(const Arguments& arguments) {
    const Sources sources(arguments);
    Settings settings;
    const auto server = sources.Find("server");
    if (!server) {
        RefuseUsage(
            "no server given; use --server HOST:PORT, QRX_SERVER or the line \"server = "
            "HOST:PORT\" in the settings file");
    }
    settings.server = ParseAddress(server->strText, kDefaultPort, server->strWhere);
    const auto user = sources.Find("user");
    if (!user) {
        RefuseUsage(
            "no user given; use --user NAME, QRX_USER or the line \"user = NAME\" in the "
            "settings file");
    }
    constexpr size_t kUserBytes = 16;
    constexpr size_t kPasswordBytes = 31;
    constexpr unsigned kDay = 86400;
    settings.strUser = user->strText;
    CheckLength(settings.strUser, kUserBytes, "user name");
    settings.password = sources.Secret("password");
    if (settings.password) CheckLength(*settings.password, kPasswordBytes, "password");
    if (const auto value = sources.Find("timeout")) {
        settings.nTimeOut = ParseCount(*value, 1, kDay, "30");
    }
    if (const auto value = sources.Find("retries")) {
        settings.nRetries = ParseCount(*value, 0, 1000000, "2");
    }
    if (const auto value = sources.Find("proxy")) {
        settings.proxy = ParseProxy(value->strText, value->strWhere);
        settings.proxy->strPassword = sources.Secret("proxy-password").value_or("");
        CheckLength(settings.proxy->strPassword, kPasswordBytes, "proxy's password");
    }
    if (const auto value = sources.Find("encoding")) settings.strEncoding = value->strText;
    if (const auto value = sources.Find("price-unit")) {
        settings.nPriceDigits = ParsePriceUnit(*value);
    }
    return settings;
}

}  // namespace qrx::cli
