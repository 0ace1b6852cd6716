// What each function needs to know of some neighbouring rows, and how two such are joined.
#include "formula/functions.h"

#include <cmath>
#include <limits>

#include "formula/windows.h"

namespace qrx::server::formula {
namespace {

constexpr double kNoNumber = std::numeric_limits<double>::quiet_NaN();

struct Total {
    double fSum;
    static Total Of(double f, size_t) { return {f}; }
    friend Total Join(const Total& a, const Total& b) { return {a.fSum + b.fSum}; }
};

// Weights 1, 2, ... from the oldest row on.
struct Weighted {
    double fRows, fSum, fWeighted;
    static Weighted Of(double f, size_t) { return {1, f, f}; }
    friend Weighted Join(const Weighted& a, const Weighted& b) {
        return {a.fRows + b.fRows, a.fSum + b.fSum, a.fWeighted + b.fWeighted + a.fRows * b.fSum};
    }
};

// The mean of both together, from the rows and the mean of each.
template <class Part>
double JoinedMean(const Part& a, const Part& b) {
    return a.fMean + (b.fMean - a.fMean) * (b.fRows / (a.fRows + b.fRows));
}

// fSquares: of the distances from the mean.
struct Spread {
    double fRows, fMean, fSquares;
    static Spread Of(double f, size_t) { return {1, f, 0}; }
    friend Spread Join(const Spread& a, const Spread& b) {
        const double fBoth = a.fRows + b.fRows;
        const double fApart = b.fMean - a.fMean;
        return {fBoth, JoinedMean(a, b),
                a.fSquares + b.fSquares + fApart * fApart * (a.fRows * b.fRows / fBoth)};
    }
};

// fProducts: of the distances from the mean and from the middle row.
struct Trend {
    double fRows, fMean, fProducts;
    static Trend Of(double f, size_t) { return {1, f, 0}; }
    friend Trend Join(const Trend& a, const Trend& b) {
        const double fApart = b.fMean - a.fMean;
        return {a.fRows + b.fRows, JoinedMean(a, b),
                a.fProducts + b.fProducts + fApart * a.fRows * b.fRows / 2};
    }
};

// The later of equal ones. In selections without branches: which one it is, nobody can predict.
template <int nSign>
struct Extreme {
    double f;
    size_t nRow;
    size_t nSpoilt;  // not 0: one is not a number, and then nothing is the highest
    static Extreme Of(double f, size_t nRow) { return {f, nRow, f != f ? size_t{1} : 0}; }
    friend Extreme Join(const Extreme& a, const Extreme& b) {
        const bool bOlder = nSign > 0 ? a.f > b.f : a.f < b.f;
        const size_t nMask = size_t{0} - (bOlder ? 1U : 0U);
        return {bOlder ? a.f : b.f, (a.nRow & nMask) | (b.nRow & ~nMask), a.nSpoilt | b.nSpoilt};
    }
};

// A window of 0: all rows so far.
template <class Sum, class Emit>
size_t SlideOrGrow(const ColumnView& in, size_t nWindow, Scratch& scratch, Emit emit) {
    return nWindow == 0 ? Grow<Sum>(in, emit) : Slide<Sum>(in, nWindow, scratch, emit);
}

size_t Sum(const ColumnView& in, size_t nWindow, double* pOut, Scratch& scratch) {
    return SlideOrGrow<Total>(in, nWindow, scratch,
                              [=](size_t i, const Total& t) { pOut[i] = t.fSum; });
}

size_t WeightedMean(const ColumnView& in, size_t nWindow, double* pOut, Scratch& scratch) {
    const auto n = static_cast<double>(nWindow);
    const double fWeights = n * (n + 1) / 2;
    return Slide<Weighted>(in, nWindow, scratch,
                           [=](size_t i, const Weighted& w) { pOut[i] = w.fWeighted / fWeights; });
}

size_t StandardDeviation(const ColumnView& in, size_t nWindow, double* pOut, Scratch& scratch) {
    const auto fLess = static_cast<double>(nWindow - 1);
    return Slide<Spread>(in, nWindow, scratch, [=](size_t i, const Spread& s) {
        pOut[i] = std::sqrt(s.fSquares / fLess);
    });
}

size_t Slope(const ColumnView& in, size_t nWindow, double* pOut, Scratch& scratch) {
    const auto n = static_cast<double>(nWindow);
    const double fSquares = n * (n * n - 1) / 12;  // of the distances from the middle row
    return Slide<Trend>(in, nWindow, scratch,
                        [=](size_t i, const Trend& t) { pOut[i] = t.fProducts / fSquares; });
}

template <int nSign>
size_t Furthest(const ColumnView& in, size_t nWindow, double* pOut, Scratch& scratch) {
    return SlideOrGrow<Extreme<nSign>>(
        in, nWindow, scratch,
        [=](size_t i, const Extreme<nSign>& e) { pOut[i] = e.nSpoilt != 0 ? kNoNumber : e.f; });
}
template <int nSign>
size_t RowsSinceFurthest(const ColumnView& in, size_t nWindow, double* pOut, Scratch& scratch) {
    return SlideOrGrow<Extreme<nSign>>(
        in, nWindow, scratch, [=](size_t i, const Extreme<nSign>& e) {
            pOut[i] = e.nSpoilt != 0 ? kNoNumber : static_cast<double>(i - e.nRow);
        });
}

// Whole numbers may be taken out of a running total.
template <class Emit>
size_t CountTrue(const ColumnView& in, size_t nWindow, Emit emit) {
    if (nWindow > in.nRows - in.nStart) return in.nRows;
    size_t nTrue = 0;
    for (size_t i = in.nStart; i < in.nRows; ++i) {
        nTrue += IsTrue(in.pCells[i]) ? 1 : 0;
        const size_t nRows = i - in.nStart + 1;
        if (nWindow != 0 && nRows > nWindow) nTrue -= IsTrue(in.pCells[i - nWindow]) ? 1 : 0;
        if (nRows >= nWindow) emit(i, nTrue);
    }
    return in.nStart + (nWindow == 0 ? 0 : nWindow - 1);
}
size_t Count(const ColumnView& in, size_t nWindow, double* pOut, Scratch&) {
    return CountTrue(in, nWindow,
                     [=](size_t i, size_t nTrue) { pOut[i] = static_cast<double>(nTrue); });
}
size_t Every(const ColumnView& in, size_t nWindow, double* pOut, Scratch&) {
    return CountTrue(in, nWindow, [=](size_t i, size_t nTrue) { pOut[i] = nTrue == nWindow; });
}
size_t Exist(const ColumnView& in, size_t nWindow, double* pOut, Scratch&) {
    return CountTrue(in, nWindow, [=](size_t i, size_t nTrue) { pOut[i] = nTrue != 0; });
}

size_t Back(const ColumnView& in, size_t nWindow, double* pOut, Scratch&) {
    if (nWindow >= in.nRows - in.nStart) return in.nRows;
    std::copy(in.pCells + in.nStart, in.pCells + (in.nRows - nWindow), pOut + in.nStart + nWindow);
    return in.nStart + nWindow;
}

size_t Exponential(const ColumnView& in, size_t nWindow, double* pOut, Scratch&) {
    return Smooth(in, 2 / (static_cast<double>(nWindow) + 1), pOut);
}

constexpr WindowFunction kWindowFunctions[] = {
    {"REF", Back, 0},
    {"MA", Mean, 1},
    {"EMA", Exponential, 1},
    {"WMA", WeightedMean, 1},
    {"SUM", Sum, 0},
    {"COUNT", Count, 0},
    {"HHV", Furthest<1>, 0},
    {"LLV", Furthest<-1>, 0},
    {"HHVBARS", RowsSinceFurthest<1>, 0},
    {"LLVBARS", RowsSinceFurthest<-1>, 0},
    {"STD", StandardDeviation, 2},
    {"AVEDEV", MeanDeviation, 1, 64},
    {"SLOPE", Slope, 2},
    {"EVERY", Every, 1},
    {"EXIST", Exist, 1},
};

}  // namespace

std::span<const WindowFunction> WindowFunctions() {
    return kWindowFunctions;
}

size_t Mean(const ColumnView& in, size_t nWindow, double* pOut, Scratch& scratch) {
    const auto n = static_cast<double>(nWindow);
    return Slide<Total>(in, nWindow, scratch,
                        [=](size_t i, const Total& t) { pOut[i] = t.fSum / n; });
}

size_t Smooth(const ColumnView& in, double fShare, double* pOut) {
    for (size_t i = in.nStart; i < in.nRows; ++i) {
        const double f = in.pCells[i];
        pOut[i] = i == in.nStart ? f : pOut[i - 1] + fShare * (f - pOut[i - 1]);
    }
    return in.nStart;
}

size_t SmoothBy(const ColumnView& in, const ColumnView& share, double* pOut) {
    const size_t nStart = std::max(in.nStart, share.nStart);
    for (size_t i = nStart; i < in.nRows; ++i) {
        const double f = in.pCells[i];
        pOut[i] = i == nStart ? f : pOut[i - 1] + share.pCells[i] * (f - pOut[i - 1]);
    }
    return nStart;
}

size_t RowsSinceTrue(const ColumnView& in, double* pOut) {
    size_t i = in.nStart;
    while (i < in.nRows && !IsTrue(in.pCells[i])) ++i;
    const size_t nStart = i;
    for (; i < in.nRows; ++i) pOut[i] = IsTrue(in.pCells[i]) ? 0 : pOut[i - 1] + 1;
    return nStart;
}

}  // namespace qrx::server::formula
