// Numbers are read as std::from_chars does, whatever locale the process has.
#include "formula/parameters.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "formula/bounds.h"

namespace qrx::server::formula {
namespace {

constexpr std::string_view kDigits = "0123456789";
constexpr std::string_view kLetters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz_";

std::string_view Trimmed(std::string_view text) {
    const size_t nBegin = std::min(text.find_first_not_of(' '), text.size());
    return text.substr(nBegin, text.find_last_not_of(' ') + 1 - nBegin);
}

bool IsName(std::string_view name) {
    return !name.empty() && kLetters.find(name[0]) != std::string_view::npos &&
           name.find_first_not_of(std::string(kLetters) + std::string(kDigits)) ==
               std::string_view::npos;
}

}  // namespace

Parameters ReadParameters(std::string_view text) {
    Parameters parameters;
    while (!text.empty()) {
        const auto part = text.substr(0, text.find(';'));
        text.remove_prefix(std::min(part.size() + 1, text.size()));
        if (Trimmed(part).empty()) continue;
        const auto name = Trimmed(part.substr(0, part.find('=')));
        auto number = Trimmed(part.substr(std::min(part.find('=') + 1, part.size())));
        if (number.starts_with('+')) number.remove_prefix(1);
        double f = 0;
        const auto [pEnd, error] = std::from_chars(number.data(), number.data() + number.size(), f);
        if (part.find('=') == std::string_view::npos || !IsName(name) || error != std::errc() ||
            pEnd != number.data() + number.size() || !std::isfinite(f)) {
            throw FormulaError("parameter \"" + std::string(Trimmed(part)) +
                               "\": write such as N=5;M=20");
        }
        if (!parameters.emplace(name, f).second) {
            throw FormulaError("parameter " + std::string(name) + " is given twice");
        }
    }
    return parameters;
}

bool IsParameterName(std::string_view name) {
    return !name.empty() && name[0] >= 'A' && name[0] <= 'Z' &&
           name.find_first_not_of(kDigits, 1) == std::string_view::npos;
}

}  // namespace qrx::server::formula
