// The parameter text of a calculation: NAME=NUMBER;NAME=NUMBER.
#ifndef QRX_SERVER_FORMULA_PARAMETERS_H
#define QRX_SERVER_FORMULA_PARAMETERS_H

#include <functional>
#include <map>
#include <string>
#include <string_view>

namespace qrx::server::formula {

using Parameters = std::map<std::string, double, std::less<>>;

// Blanks around names and numbers do not count. Throws FormulaError.
Parameters ReadParameters(std::string_view text);

// True for a capital with digits or none behind it: N, M, P1. Such a name may be a parameter
// without a default.
bool IsParameterName(std::string_view name);

}  // namespace qrx::server::formula

#endif
