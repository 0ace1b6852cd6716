// A formula evaluated over bars: every global that ends as a column is an output, in the order in
// which the names were first assigned.
#ifndef QRX_SERVER_FORMULA_EVALUATE_H
#define QRX_SERVER_FORMULA_EVALUATE_H

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "codec/kline_records.h"
#include "formula/bounds.h"
#include "formula/parameters.h"

namespace qrx::server::formula {

struct OutputColumn {
    std::string strName;
    size_t nStart;                  // first defined row; the last row when none is
    std::vector<int32_t> vecCells;  // one a bar; zeros before nStart
};

// At least one bar. Throws FormulaError, whose text begins with the line where there is one.
std::vector<OutputColumn> Evaluate(std::string_view text, const Parameters& parameters,
                                   std::span<const ZPMDefine_KData> bars,
                                   const Bounds& bounds = {});

// What storing a formula asks of it: evaluates it over built-in bars, with values made up for
// parameters without a default.
struct Trial {
    std::vector<std::string> vecColumns;
    std::vector<std::string> vecParameters;  // without a default
};
Trial Try(std::string_view text, const Bounds& bounds = {});

}  // namespace qrx::server::formula

#endif
