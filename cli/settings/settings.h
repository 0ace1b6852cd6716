// Where to connect, as whom and how: options before environment before file. One table says every
// setting once: the key in the file, its option, and from the key its name in the environment.
#ifndef QRX_CLI_SETTINGS_SETTINGS_H
#define QRX_CLI_SETTINGS_SETTINGS_H

#include <map>
#include <optional>
#include <span>
#include <string>

#include "app/arguments.h"
#include "settings/address.h"

namespace qrx::cli {

struct SettingRow {
    const char* szKey;     // in the file; QRX_ and the key in capitals in the environment
    const char* szOption;  // null: never an argument
    const char* szValue;   // placeholder of the option
    const char* szHelp;
};
std::span<const SettingRow> SettingRows();

struct Settings {
    Address server;
    std::string strUser;
    std::optional<std::string> password;  // nothing: ask for it
    unsigned nTimeOut = 30;               // seconds
    unsigned nRetries = 2;
    std::optional<Proxy> proxy;
    std::string strEncoding = "gb18030";
    int nPriceDigits = 4;  // decimals of a price, from the price unit
};

// Throws Failure(EXIT_USAGE) naming where a wrong value stands. With bConnection false only what
// output needs is read, and a missing server is no fault.
Settings ReadSettings(const Arguments& arguments);

// The settings file as keys and values; empty when there is none. Refused when others may read it.
std::map<std::string, std::string> ReadSettingsFile(const std::string& strPath);

// A whole file that nobody but its owner may read, without the newline at its end.
std::string ReadSecretFile(const std::string& strPath, const std::string& strWhat);

// Asks on the terminal, without echo; refuses when there is no terminal.
std::string AskPassword(const std::string& strUser);

}  // namespace qrx::cli

#endif
