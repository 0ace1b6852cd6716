// The functions of the language: their values checked, and handed to what does the work.
#include <exception>
#include <type_traits>

#include "formula/functions.h"
#include "formula/language.h"
#include "formula/sandbox.h"
#include "formula/values.h"

namespace qrx::server::formula {
namespace {

constexpr int kManyArguments = 64;

struct Larger {
    double operator()(double a, double b) const { return std::isnan(a) || a > b ? a : b; }
};
struct Smaller {
    double operator()(double a, double b) const { return std::isnan(a) || a < b ? a : b; }
};
int FailArgument(lua_State* L, const char* szFunction, int nArgument, const char* szWanted) {
    return luaL_error(L, "%s: value %d must be %s, not a %s", szFunction, nArgument, szWanted,
                      TypeName(L, nArgument));
}

// What the kernels throw (there is no memory, or a bound is met) becomes an error of the formula.
template <class Work>
void Guarded(lua_State* L, Work work) {
    bool bDone = false;
    try {
        work();
        bDone = true;
    } catch (const std::exception&) {
    }
    if (bDone) return;
    Sandbox::Spend(L, 0);
    luaL_error(L, "not enough memory");
}

Column* ColumnArgument(lua_State* L, const char* szFunction, int nArgument) {
    Column* p = ToColumn(L, nArgument);
    if (p == nullptr) FailArgument(L, szFunction, nArgument, "a column");
    return p;
}

// A whole number from nLeast on.
size_t WindowArgument(lua_State* L, const char* szFunction, int nArgument, size_t nLeast) {
    int nWhole = 0;
    lua_Integer n = 0;
    if (lua_type(L, nArgument) == LUA_TNUMBER) n = lua_tointegerx(L, nArgument, &nWhole);
    if (nWhole == 0 && lua_type(L, nArgument) == LUA_TNUMBER) {
        luaL_error(L, "%s: value %d must be a whole number, not %f", szFunction, nArgument,
                   lua_tonumber(L, nArgument));
    }
    if (nWhole == 0) FailArgument(L, szFunction, nArgument, "a whole number");
    if (n < static_cast<lua_Integer>(nLeast)) {
        luaL_error(L, "%s: value %d must be at least %d", szFunction, nArgument,
                   static_cast<int>(nLeast));
    }
    return static_cast<size_t>(n);
}

void CheckCount(lua_State* L, const char* szFunction, int nLeast, int nMost) {
    const int n = lua_gettop(L);
    if (n < nLeast || n > nMost) {
        luaL_error(L, "%s takes %s%d values, not %d", szFunction,
                   nLeast == nMost ? ""
                   : n < nLeast    ? "at least "
                                   : "at most ",
                   n < nLeast ? nLeast : nMost, n);
    }
}

int CallWindow(lua_State* L) {
    const auto& row = *static_cast<const WindowFunction*>(lua_touserdata(L, lua_upvalueindex(1)));
    CheckCount(L, row.szName, 2, 2);
    Column* pIn = ColumnArgument(L, row.szName, 1);
    const size_t nWindow = WindowArgument(L, row.szName, 2, row.nLeast);
    Column* pOut = NewColumn(L, pIn->nRows, pIn->nRows, row.nCost);
    Guarded(L, [&] {
        pOut->nStart = row.pfn(pIn->View(), nWindow, pOut->Cells(), Sandbox::Of(L).Memory());
    });
    return 1;
}

int CallSma(lua_State* L) {
    CheckCount(L, "SMA", 3, 3);
    Column* pIn = ColumnArgument(L, "SMA", 1);
    Operand n, m;
    if (!ToOperand(L, 2, n) || !ToOperand(L, 3, m) || n.pColumn != nullptr ||
        m.pColumn != nullptr || !(m.f > 0) || !(n.f >= m.f) || std::isinf(n.f)) {
        return luaL_error(L, "SMA: of SMA(X, n, m) m must be a number above 0, n one from m on");
    }
    Column* pOut = NewColumn(L, pIn->nRows, pIn->nStart);
    Smooth(pIn->View(), m.f / n.f, pOut->Cells());
    return 1;
}

int CallDma(lua_State* L) {
    CheckCount(L, "DMA", 2, 2);
    Column* pIn = ColumnArgument(L, "DMA", 1);
    Operand share;
    if (!ToOperand(L, 2, share)) return FailArgument(L, "DMA", 2, "a column or a number");
    Column* pOut = NewColumn(L, pIn->nRows, pIn->nStart);
    if (share.pColumn == nullptr) {
        Smooth(pIn->View(), share.f, pOut->Cells());
    } else {
        pOut->nStart = SmoothBy(pIn->View(), share.pColumn->View(), pOut->Cells());
    }
    return 1;
}

int CallCross(lua_State* L) {
    CheckCount(L, "CROSS", 2, 2);
    Operand a, b;
    for (const int i : {1, 2}) {
        if (!ToOperand(L, i, i == 1 ? a : b))
            return FailArgument(L, "CROSS", i, "a column or a number");
    }
    if (a.pColumn == nullptr && b.pColumn == nullptr) {
        return luaL_error(L, "CROSS: one of the two values must be a column");
    }
    PushApplied(L, a, b, [](double fA, double fB) { return fA > fB; });
    Column* pOut = ToColumn(L, -1);
    const double *pA = a.Cells(), *pB = b.Cells();
    double* pCells = pOut->Cells();
    // Downwards, so that the row before still says whether it was above.
    const size_t nStart = std::min(pOut->nStart + 1, pOut->nRows);
    for (size_t i = pOut->nRows; i-- > nStart;) {
        const double fA = pA != nullptr ? pA[i - 1] : a.f;
        const double fB = pB != nullptr ? pB[i - 1] : b.f;
        pCells[i] = pCells[i] != 0 && fA <= fB;
    }
    pOut->nStart = nStart;
    return 1;
}

int CallIf(lua_State* L) {
    CheckCount(L, "IF", 3, 3);
    Operand c, a, b;
    for (const int i : {1, 2, 3}) {
        if (!ToOperand(L, i, i == 1 ? c : i == 2 ? a : b)) {
            return FailArgument(L, "IF", i, "a column or a number");
        }
    }
    if (c.pColumn == nullptr) {
        lua_pushvalue(L, IsTrue(c.f) ? 2 : 3);
        return 1;
    }
    Column* pOut = NewColumn(L, c.pColumn->nRows, std::max({c.Start(), a.Start(), b.Start()}));
    const double *pC = c.Cells(), *pA = a.Cells(), *pB = b.Cells();
    double* pCells = pOut->Cells();
    for (size_t i = pOut->nStart; i < pOut->nRows; ++i) {
        pCells[i] = IsTrue(pC[i]) ? (pA != nullptr ? pA[i] : a.f) : (pB != nullptr ? pB[i] : b.f);
    }
    return 1;
}

int CallAbs(lua_State* L) {
    CheckCount(L, "ABS", 1, 1);
    Operand a;
    if (!ToOperand(L, 1, a)) return FailArgument(L, "ABS", 1, "a column or a number");
    if (a.pColumn == nullptr) {
        lua_pushnumber(L, std::fabs(a.f));
    } else {
        PushApplied(L, a, {nullptr, 0}, [](double f, double) { return std::fabs(f); });
    }
    return 1;
}

template <class Operation>
int CallBest(lua_State* L) {
    const char* szName = std::is_same_v<Operation, Larger> ? "MAX" : "MIN";
    const int nArguments = lua_gettop(L);
    CheckCount(L, szName, 2, kManyArguments);
    lua_pushvalue(L, 1);
    for (int i = 1; i <= nArguments; ++i) {
        Operand a, b;
        if (!ToOperand(L, i, b)) return FailArgument(L, szName, i, "a column or a number");
        if (i == 1) continue;
        ToOperand(L, -1, a);
        if (a.pColumn == nullptr && b.pColumn == nullptr) {
            lua_pushnumber(L, Operation()(a.f, b.f));
        } else {
            PushApplied(L, a, b, Operation());
        }
        lua_remove(L, -2);
    }
    return 1;
}

int CallBarsLast(lua_State* L) {
    CheckCount(L, "BARSLAST", 1, 1);
    Column* pIn = ColumnArgument(L, "BARSLAST", 1);
    Column* pOut = NewColumn(L, pIn->nRows, pIn->nRows);
    pOut->nStart = RowsSinceTrue(pIn->View(), pOut->Cells());
    return 1;
}

constexpr luaL_Reg kFunctions[] = {{"SMA", CallSma},           {"DMA", CallDma},
                                   {"CROSS", CallCross},       {"IF", CallIf},
                                   {"ABS", CallAbs},           {"MAX", CallBest<Larger>},
                                   {"MIN", CallBest<Smaller>}, {"BARSLAST", CallBarsLast}};

}  // namespace

void PushFunctions(lua_State* L) {
    lua_newtable(L);
    for (const luaL_Reg& row : kFunctions) {
        lua_pushcfunction(L, row.func);
        lua_setfield(L, -2, row.name);
    }
    for (const WindowFunction& row : WindowFunctions()) {
        lua_pushlightuserdata(L, const_cast<WindowFunction*>(&row));
        lua_pushcclosure(L, CallWindow, 1);
        lua_setfield(L, -2, row.szName);
    }
}

}  // namespace qrx::server::formula
