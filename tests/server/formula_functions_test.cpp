// The functions that look back over rows against plain loops: on random columns, with windows
// longer than the data, and after a million rows.
#include "formula/functions.h"

#include <gtest/gtest.h>

#include <limits>
#include <numeric>
#include <random>
#include <vector>

namespace qrx::server::formula {
namespace {

using Rows = std::vector<double>;  // a window, oldest first

double PlainMean(const Rows& w) {
    return std::accumulate(w.begin(), w.end(), 0.0) / static_cast<double>(w.size());
}
double PlainCount(const Rows& w) {
    double n = 0;
    for (const double f : w) n += f == f && f != 0 ? 1 : 0;
    return n;
}
double PlainBest(const Rows& w, int nSign, bool bBars) {
    size_t nBest = 0;
    for (size_t i = 0; i < w.size(); ++i) {
        if (std::isnan(w[i])) return w[i];
        if (nSign * w[i] >= nSign * w[nBest]) nBest = i;
    }
    return bBars ? static_cast<double>(w.size() - 1 - nBest) : w[nBest];
}
// Sum of pfn(distance from the mean, distance from the middle row) over the window.
template <class Function>
double PlainSum(const Rows& w, Function function) {
    double f = 0;
    for (size_t i = 0; i < w.size(); ++i) {
        f += function(w[i] - PlainMean(w),
                      static_cast<double>(i) - static_cast<double>(w.size() - 1) / 2);
    }
    return f;
}

struct Case {
    const char* szName;
    double (*pfnPlain)(const Rows& window);
    size_t nMore = 0;  // rows that the window has besides the function's number
};
const Case kCases[] = {
    {"REF", [](const Rows& w) { return w.front(); }, 1},
    {"MA", PlainMean},
    {"WMA",
     [](const Rows& w) {
         double f = 0;
         for (size_t i = 0; i < w.size(); ++i) f += static_cast<double>(i + 1) * w[i];
         return f / (static_cast<double>(w.size() * (w.size() + 1)) / 2);
     }},
    {"SUM", [](const Rows& w) { return std::accumulate(w.begin(), w.end(), 0.0); }},
    {"COUNT", PlainCount},
    {"HHV", [](const Rows& w) { return PlainBest(w, 1, false); }},
    {"LLV", [](const Rows& w) { return PlainBest(w, -1, false); }},
    {"HHVBARS", [](const Rows& w) { return PlainBest(w, 1, true); }},
    {"LLVBARS", [](const Rows& w) { return PlainBest(w, -1, true); }},
    {"STD",
     [](const Rows& w) {
         return std::sqrt(PlainSum(w, [](double y, double) { return y * y; }) /
                          static_cast<double>(w.size() - 1));
     }},
    {"AVEDEV",
     [](const Rows& w) {
         return PlainSum(w, [](double y, double) { return std::fabs(y); }) /
                static_cast<double>(w.size());
     }},
    {"SLOPE",
     [](const Rows& w) {
         return PlainSum(w, [](double y, double x) { return x * y; }) /
                PlainSum(w, [](double, double x) { return x * x; });
     }},
    {"EVERY", [](const Rows& w) { return PlainCount(w) == double(w.size()) ? 1.0 : 0.0; }},
    {"EXIST", [](const Rows& w) { return PlainCount(w) > 0 ? 1.0 : 0.0; }},
};

const WindowFunction& Find(std::string_view name) {
    for (const auto& function : WindowFunctions()) {
        if (function.szName == name) return function;
    }
    throw std::out_of_range(std::string(name));
}

Scratch& Memory() {
    return *std::pmr::new_delete_resource();
}

// Rows of the result from nFirst on, every nStep-th, against the plain loop over their windows.
void ExpectPlain(const Case& test, const Rows& in, size_t nStart, size_t nWindow, size_t nFirst,
                 size_t nStep) {
    Rows out(in.size());
    const size_t nRows = nWindow + test.nMore;  // of a window
    const size_t nFrom =
        Find(test.szName).pfn({in.data(), in.size(), nStart}, nWindow, out.data(), Memory());
    ASSERT_EQ(nFrom, nStart + nRows > in.size() ? in.size() : nStart + nRows - 1);
    for (size_t i = std::max(nFrom, nFirst); i < in.size(); i += nStep) {
        const auto end = in.begin() + static_cast<long>(i) + 1;
        const double fPlain = test.pfnPlain(Rows(end - static_cast<long>(nRows), end));
        if (std::isnan(fPlain)) {
            EXPECT_TRUE(std::isnan(out[i])) << "row " << i;
        } else {
            ASSERT_NEAR(out[i], fPlain, 1e-9 * (1 + std::fabs(fPlain))) << "row " << i;
        }
    }
}

TEST(FormulaFunctions, AgreeWithAPlainLoop) {
    ASSERT_EQ(std::size(kCases) + 1, WindowFunctions().size());  // EMA has no window
    std::mt19937 random(3);
    std::vector<Rows> columns(4, Rows(400));
    for (size_t i = 0; i < 400; ++i) {
        columns[0][i] = 100000 + static_cast<double>(random() % 20001) / 7 - 1000;
        columns[1][i] = static_cast<double>(random() % 4);  // many ties, many zeros
        columns[2][i] = random() % 40 == 0 ? std::numeric_limits<double>::quiet_NaN()
                                           : static_cast<double>(random() % 9) - 4;
        columns[3][i] = 12.3;
    }
    for (const Case& test : kCases) {
        for (size_t nColumn = 0; nColumn < columns.size(); ++nColumn) {
            for (const size_t nWindow : {1U, 2U, 3U, 7U, 50U, 199U, 387U, 388U, 1000U}) {
                if (nWindow < Find(test.szName).nLeast) continue;
                SCOPED_TRACE(test.szName + (" column " + std::to_string(nColumn)) + " window " +
                             std::to_string(nWindow));
                ExpectPlain(test, columns[nColumn], 13, nWindow, 0, 1);
            }
        }
        // A window of 0 are all rows so far.
        if (Find(test.szName).nLeast > 0 || test.nMore > 0) continue;
        Rows out(400);
        EXPECT_EQ(Find(test.szName).pfn({columns[0].data(), 400, 13}, 0, out.data(), Memory()),
                  13U);
        const double fPlain = test.pfnPlain(Rows(columns[0].begin() + 13, columns[0].end()));
        EXPECT_NEAR(out[399], fPlain, 1e-9 * (1 + std::fabs(fPlain))) << test.szName;
    }
}

TEST(FormulaFunctions, AMillionRowsDoNotDrift) {
    std::mt19937 random(4);
    Rows in(1000000);
    double f = 3e6;
    // The first rows are so large that what is left of them would show.
    for (size_t i = 0; i < in.size(); ++i) {
        in[i] = i < 1000 ? 1e15 + static_cast<double>(i)
                         : f += (static_cast<double>(random() % 2001) - 1000) / 7;
    }
    for (const Case& test : kCases) {
        SCOPED_TRACE(test.szName);
        ExpectPlain(test, in, 0, 250, 2000, 40009);
    }
}

}  // namespace
}  // namespace qrx::server::formula
