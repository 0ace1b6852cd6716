// Formulas, as bytes and as rows of words of the language: each is refused with a text or gives
// columns that a client takes.
#include <cstdlib>
#include <vector>

#include "formula/answer_stream.h"
#include "formula/evaluate.h"
#include "input.h"

namespace {

using namespace qrx::server::formula;

constexpr const char* kWords[] = {
    "CLOSE", "OPEN",   "VOLUME", "A",         "B",        "N",           "x",     "t",    "1",
    "2",     "0.5",    "1e300",  "'s'",       "=",        "==",          "<",     ">=",   "~=",
    "+",     "-",      "*",      "/",         "//",       "%",           "^",     "(",    ")",
    "{",     "}",      "[",      "]",         ",",        ";",           ":",     ".",    "and",
    "or",    "not",    "nil",    "true",      "if",       "then",        "else",  "end",  "while",
    "do",    "for",    "in",     "repeat",    "until",    "return",      "local", "goto", "::",
    "break", "MA(",    "SUM(",   "REF(",      "IF(",      "MAX(",        "EMA(",  "SMA(", "AVEDEV(",
    "STD(",  "CROSS(", "HHV(",   "BARSLAST(", "function", "A = CLOSE\n", "--",    "[[",   "]]",
    "\n",    "...",    "#",      "<const>",   "elseif",   "N = N or 3\n"};

std::string SomeText(qrx::fuzz::Input& input) {
    if (input.Below(4) == 0) return input.Bytes(4096);
    std::string strText;
    while (input.Left() > 0) {
        strText.append(kWords[input.Below(static_cast<int>(std::size(kWords)))]).append(" ");
    }
    return strText;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pBytes, size_t nLen) {
    qrx::fuzz::Input input(pBytes, nLen);
    std::vector<ZPMDefine_KData> vecBars(1 + static_cast<size_t>(input.Below(20)));
    for (auto& bar : vecBars) {
        bar.nDate = 20240105;
        bar.nClose = input.Below(5);
        bar.nOpen = input.Below(200000);
        bar.iVolume = bar.nOpen * 1000LL;
    }
    const Bounds bounds{20000, size_t{1} << 20, 2000};
    try {
        const auto vecColumns = Evaluate(SomeText(input), {}, vecBars, bounds);
        for (const auto& column : vecColumns) {
            if (column.nStart >= vecBars.size() || column.vecCells.size() != vecBars.size())
                abort();
        }
        if (EncodeAnswer(vecBars, true, vecColumns).empty()) abort();
    } catch (const FormulaError&) {
    }
    return 0;
}
