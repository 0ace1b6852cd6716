// AVEDEV: the mean distance of a window's rows from their mean. With the mean m known it is
//
//   (rows up to m) * m - (their sum)  +  (sum of the others) - (the others) * m, over the rows
//
// so what is needed of a window is count and sum of its values up to some value. Two trees of
// partial totals over the ranks of the values give both in a logarithm of steps. Rows are worked
// off in stretches, so that a tree is small; within one, values are whole numbers on a scale that
// gives their range some 2^61 steps, and totals of such are exact however often rows come and go.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "formula/functions.h"

namespace qrx::server::formula {
namespace {

__extension__ using Wide = __int128;

constexpr size_t kStretch = 4096;  // rows, at least; trees of so many stay in the cache

struct Totals {
    Wide nSum = 0;
    int64_t nRows = 0;
};

// Totals by rank, in the manner of Fenwick: node i covers the ranks from i - (lowest bit of i) on.
class RankTree {
public:
    explicit RankTree(Scratch& scratch) : m_vecNodes(&scratch) {}
    void Clear(size_t nRanks) { m_vecNodes.assign(nRanks + 1, Totals{}); }
    void Add(size_t nRank, Wide nValue, int nRows) {
        for (size_t i = nRank + 1; i < m_vecNodes.size(); i += i & (~i + 1)) {
            m_vecNodes[i].nSum += nValue * nRows;
            m_vecNodes[i].nRows += nRows;
        }
    }
    // Of the first nRanks ranks.
    Totals Below(size_t nRanks) const {
        Totals totals;
        for (size_t i = nRanks; i > 0; i &= i - 1) {
            totals.nSum += m_vecNodes[i].nSum;
            totals.nRows += m_vecNodes[i].nRows;
        }
        return totals;
    }

private:
    std::pmr::vector<Totals> m_vecNodes;
};

class Stretch {
public:
    explicit Stretch(Scratch& scratch)
        : m_tree(scratch), m_vecOrder(&scratch), m_vecSorted(&scratch), m_vecRanks(&scratch) {}

    // The deviations of the rows from nFirst to nEnd, in place of their means in pOut.
    void Work(const ColumnView& in, size_t nWindow, size_t nFirst, size_t nEnd, double* pOut) {
        const size_t nBegin = nFirst + 1 - nWindow;
        SetScale(in.pCells + nBegin, in.pCells + nEnd);
        Rank(in.pCells + nBegin, nEnd - nBegin);
        m_tree.Clear(m_vecSorted.size());
        Totals window;
        size_t nSpoilt = 0;  // rows of the window that are not finite
        const auto move = [&](size_t i, int nRows) {
            const double f = in.pCells[i];
            if (!std::isfinite(f)) {
                nSpoilt += static_cast<size_t>(nRows);
                return;
            }
            const Wide nValue = Scaled(f);
            m_tree.Add(m_vecRanks[i - nBegin], nValue, nRows);
            window.nSum += nValue * nRows;
        };
        for (size_t i = nBegin; i < nEnd; ++i) {
            move(i, 1);
            if (i < nFirst) continue;
            if (i > nFirst) move(i - nWindow, -1);
            pOut[i] = nSpoilt != 0 || !std::isfinite(pOut[i])
                          ? std::numeric_limits<double>::quiet_NaN()
                          : Deviation(pOut[i], window.nSum, nWindow);
        }
    }

private:
    void SetScale(const double* pBegin, const double* pEnd) {
        double fLargest = 0;
        for (const double* p = pBegin; p != pEnd; ++p) {
            if (std::isfinite(*p)) fLargest = std::max(fLargest, std::fabs(*p));
        }
        int nExponent = 0;
        std::frexp(fLargest, &nExponent);
        m_fScale = std::ldexp(1, std::min(100 - nExponent, 1000));
    }
    Wide Scaled(double f) const { return static_cast<Wide>(f * m_fScale); }

    void Rank(const double* pCells, size_t nRows) {
        m_vecOrder.clear();
        m_vecOrder.reserve(nRows);
        for (size_t i = 0; i < nRows; ++i) {
            if (std::isfinite(pCells[i])) m_vecOrder.emplace_back(pCells[i], i);
        }
        std::sort(m_vecOrder.begin(), m_vecOrder.end());
        m_vecSorted.clear();
        m_vecSorted.reserve(nRows);
        m_vecRanks.resize(nRows);
        for (const auto& [f, i] : m_vecOrder) {
            m_vecRanks[i] = m_vecSorted.size();
            m_vecSorted.push_back(f);
        }
    }

    double Deviation(double fMean, Wide nAll, size_t nWindow) const {
        const Wide nMean = Scaled(fMean);
        const auto it = std::upper_bound(m_vecSorted.begin(), m_vecSorted.end(), fMean);
        const Totals below = m_tree.Below(static_cast<size_t>(it - m_vecSorted.begin()));
        const auto nWide = static_cast<int64_t>(nWindow);
        const Wide nApart = Wide{below.nRows} * nMean - below.nSum + (nAll - below.nSum) -
                            Wide{nWide - below.nRows} * nMean;
        return static_cast<double>(nApart) / m_fScale / static_cast<double>(nWindow);
    }

    RankTree m_tree;
    std::pmr::vector<std::pair<double, size_t>> m_vecOrder;
    std::pmr::vector<double> m_vecSorted;
    std::pmr::vector<size_t> m_vecRanks;
    double m_fScale = 1;  // a power of two
};

}  // namespace

size_t MeanDeviation(const ColumnView& in, size_t nWindow, double* pOut, Scratch& scratch) {
    const size_t nStart = Mean(in, nWindow, pOut, scratch);
    Stretch stretch(scratch);
    const size_t nStep = std::max(kStretch, nWindow);
    for (size_t nFirst = nStart; nFirst < in.nRows; nFirst += nStep) {
        stretch.Work(in, nWindow, nFirst, std::min(nFirst + nStep, in.nRows), pOut);
    }
    return nStart;
}

}  // namespace qrx::server::formula
