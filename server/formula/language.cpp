// The bridge between the interpreter and the columns. No function here keeps an object with a
// destructor alive across a call that can raise an error; see the sandbox's header.
#include "formula/language.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <exception>

#include "formula/functions.h"
#include "formula/sandbox.h"
#include "formula/translate.h"

namespace qrx::server::formula {
namespace {

// A column as it lies in its userdata; the cells follow.
struct Column {
    size_t nRows;
    size_t nStart;
    double* Cells() { return reinterpret_cast<double*>(this + 1); }
    ColumnView View() { return {Cells(), nRows, nStart}; }
};
static_assert(sizeof(Column) % alignof(double) == 0);

const char kMetatable = 0;          // its address is the key in the registry
constexpr uint64_t kRowsAStep = 8;  // of a plain column function
constexpr size_t kManyArguments = 64;

// No userdata but columns exist in a sandbox.
Column* ToColumn(lua_State* L, int nIndex) {
    return static_cast<Column*>(lua_touserdata(L, nIndex));
}

Column* NewColumn(lua_State* L, size_t nRows, size_t nStart, uint64_t nCost = 1) {
    Sandbox::Spend(L, nCost * (nRows / kRowsAStep + 1));
    auto* p =
        static_cast<Column*>(lua_newuserdatauv(L, sizeof(Column) + nRows * sizeof(double), 0));
    p->nRows = nRows;
    p->nStart = nStart;
    lua_rawgetp(L, LUA_REGISTRYINDEX, &kMetatable);
    lua_setmetatable(L, -2);
    return p;
}

// What stands for a column in an operation row by row: a column, or one value for all rows.
struct Operand {
    Column* pColumn = nullptr;  // null: the value
    double f = 0;
    size_t Start() const { return pColumn != nullptr ? pColumn->nStart : 0; }
    const double* Cells() const { return pColumn != nullptr ? pColumn->Cells() : nullptr; }
};

bool ToOperand(lua_State* L, int nIndex, Operand& operand) {
    operand = {ToColumn(L, nIndex), 0};
    if (operand.pColumn != nullptr) return true;
    if (lua_type(L, nIndex) == LUA_TNUMBER) {
        operand.f = lua_tonumber(L, nIndex);
    } else if (lua_type(L, nIndex) == LUA_TBOOLEAN) {
        operand.f = lua_toboolean(L, nIndex);
    } else {
        return false;
    }
    return true;
}

// "column", "nil", "table", ...
const char* TypeName(lua_State* L, int nIndex) {
    return ToColumn(L, nIndex) != nullptr ? "column" : luaL_typename(L, nIndex);
}

int FailArgument(lua_State* L, const char* szFunction, int nArgument, const char* szWanted) {
    return luaL_error(L, "%s: value %d must be %s, not a %s", szFunction, nArgument, szWanted,
                      TypeName(L, nArgument));
}

// -- Row by row

template <class Operation>
void Apply(const Operand& a, const Operand& b, Column* pOut, Operation operation) {
    const size_t nRows = pOut->nRows;
    double* pCells = pOut->Cells();
    if (a.pColumn != nullptr && b.pColumn != nullptr) {
        const double *pA = a.Cells(), *pB = b.Cells();
        for (size_t i = pOut->nStart; i < nRows; ++i) pCells[i] = operation(pA[i], pB[i]);
    } else if (a.pColumn != nullptr) {
        const double* pA = a.Cells();
        for (size_t i = pOut->nStart; i < nRows; ++i) pCells[i] = operation(pA[i], b.f);
    } else {
        const double* pB = b.Cells();
        for (size_t i = pOut->nStart; i < nRows; ++i) pCells[i] = operation(a.f, pB[i]);
    }
}

// Pushes the result; at least one of the two is a column.
template <class Operation>
void PushApplied(lua_State* L, const Operand& a, const Operand& b, Operation operation) {
    const size_t nRows = (a.pColumn != nullptr ? a : b).pColumn->nRows;
    Apply(a, b, NewColumn(L, nRows, std::max(a.Start(), b.Start())), operation);
}

struct Add {
    double operator()(double a, double b) const { return a + b; }
};
struct Subtract {
    double operator()(double a, double b) const { return a - b; }
};
struct Multiply {
    double operator()(double a, double b) const { return a * b; }
};
struct Divide {
    double operator()(double a, double b) const { return a / b; }
};
struct FloorDivide {
    double operator()(double a, double b) const { return std::floor(a / b); }
};
struct Modulo {  // of the sign of b, as Lua has it
    double operator()(double a, double b) const {
        const double f = std::fmod(a, b);
        return f * b < 0 ? f + b : f;
    }
};
struct Power {
    double operator()(double a, double b) const { return std::pow(a, b); }
};
struct Negate {
    double operator()(double a, double) const { return -a; }
};
struct Larger {
    double operator()(double a, double b) const { return std::isnan(a) || a > b ? a : b; }
};
struct Smaller {
    double operator()(double a, double b) const { return std::isnan(a) || a < b ? a : b; }
};
struct Less {
    bool operator()(double a, double b) const { return a < b; }
};
struct LessEqual {
    bool operator()(double a, double b) const { return a <= b; }
};
struct Greater {
    bool operator()(double a, double b) const { return a > b; }
};
struct GreaterEqual {
    bool operator()(double a, double b) const { return a >= b; }
};
struct Equal {
    bool operator()(double a, double b) const { return a == b; }
};
struct NotEqual {
    bool operator()(double a, double b) const { return a != b; }
};
struct Both {
    bool operator()(double a, double b) const { return IsTrue(a) && IsTrue(b); }
};
struct Either {
    bool operator()(double a, double b) const { return IsTrue(a) || IsTrue(b); }
};

template <class Operation>
int Arithmetic(lua_State* L) {
    Operand a, b;
    if (!ToOperand(L, 1, a) || !ToOperand(L, 2, b)) {
        return luaL_error(L, "a %s and a %s do not go into arithmetic", TypeName(L, 1),
                          TypeName(L, 2));
    }
    PushApplied(L, a, b, Operation());
    return 1;
}

// Between columns row by row; between other values as in Lua, texts not ordered.
template <class Operation>
int CompareValues(lua_State* L) {
    constexpr bool bEqual = std::is_same_v<Operation, Equal>;
    constexpr bool bOrder = !bEqual && !std::is_same_v<Operation, NotEqual>;
    lua_settop(L, 2);
    Operand a, b;
    const bool bOperands = ToOperand(L, 1, a) && ToOperand(L, 2, b);
    if (bOperands && (a.pColumn != nullptr || b.pColumn != nullptr)) {
        PushApplied(L, a, b, Operation());
    } else if constexpr (!bOrder) {
        lua_pushboolean(L, lua_rawequal(L, 1, 2) == static_cast<int>(bEqual));
    } else if (lua_type(L, 1) == LUA_TNUMBER && lua_type(L, 2) == LUA_TNUMBER) {
        if (lua_isinteger(L, 1) && lua_isinteger(L, 2)) {
            const lua_Integer nA = lua_tointeger(L, 1), nB = lua_tointeger(L, 2);
            const int nOrder = nA < nB ? -1 : nA > nB;
            lua_pushboolean(L, Operation()(nOrder, 0));
        } else {
            lua_pushboolean(L, Operation()(a.f, b.f));
        }
    } else {
        return luaL_error(L, "a %s and a %s cannot be compared", TypeName(L, 1), TypeName(L, 2));
    }
    return 1;
}

// The left value, and the right ones as functions. Between columns row by row; otherwise as in Lua.
template <class Operation>
int Logic(lua_State* L) {
    constexpr bool bAnd = std::is_same_v<Operation, Both>;
    const int nArguments = lua_gettop(L);
    lua_pushvalue(L, 1);
    for (int i = 2; i <= nArguments; ++i) {
        Operand a, b;
        const bool bColumn = ToColumn(L, -1) != nullptr;
        if (!bColumn && (lua_toboolean(L, -1) != 0) != bAnd) return 1;
        lua_pushvalue(L, i);
        lua_call(L, 0, 1);
        if (bColumn) {
            ToOperand(L, -2, a);
            if (!ToOperand(L, -1, b)) {
                return luaL_error(L, "%s: a column and a %s", bAnd ? "and" : "or", TypeName(L, -1));
            }
            PushApplied(L, a, b, Operation());
            lua_remove(L, -2);
        }
        lua_remove(L, -2);
    }
    return 1;
}

int Not(lua_State* L) {
    lua_settop(L, 1);
    Operand a;
    if (ToOperand(L, 1, a) && a.pColumn != nullptr) {
        PushApplied(L, a, {nullptr, 0}, [](double f, double) { return !IsTrue(f); });
    } else {
        lua_pushboolean(L, lua_toboolean(L, 1) == 0);
    }
    return 1;
}

int Test(lua_State* L) {
    lua_settop(L, 1);
    if (ToColumn(L, 1) != nullptr) {
        return luaL_error(L, "a column is no condition here; IF(c, a, b) chooses row by row");
    }
    return 1;
}

int FailIndex(lua_State* L) {
    return luaL_error(L, "a column has no parts; REF(X, n) looks n rows back");
}

// -- Functions

// What the kernels throw (there is no memory) becomes an error of the formula.
template <class Work>
void Guarded(lua_State* L, Work work) {
    bool bDone = false;
    try {
        work();
        bDone = true;
    } catch (const std::exception&) {
    }
    if (!bDone) luaL_error(L, "not enough memory");
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
        luaL_error(L, "%s takes %d values, not %d", szFunction, n < nLeast ? nLeast : nMost, n);
    }
}

int CallWindow(lua_State* L) {
    const auto& row = *static_cast<const WindowFunction*>(lua_touserdata(L, lua_upvalueindex(1)));
    CheckCount(L, row.szName, 2, 2);
    Column* pIn = ColumnArgument(L, row.szName, 1);
    const size_t nWindow = WindowArgument(L, row.szName, 2, row.nLeast);
    Column* pOut = NewColumn(L, pIn->nRows, pIn->nRows, row.nCost);
    Guarded(L, [&] { pOut->nStart = row.pfn(pIn->View(), nWindow, pOut->Cells()); });
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
    PushApplied(L, a, b, Greater());
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
    CheckCount(L, szName, 2, static_cast<int>(kManyArguments));
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

constexpr luaL_Reg kArithmetic[] = {{"__add", Arithmetic<Add>},
                                    {"__sub", Arithmetic<Subtract>},
                                    {"__mul", Arithmetic<Multiply>},
                                    {"__div", Arithmetic<Divide>},
                                    {"__idiv", Arithmetic<FloorDivide>},
                                    {"__mod", Arithmetic<Modulo>},
                                    {"__pow", Arithmetic<Power>},
                                    {"__unm", Arithmetic<Negate>},
                                    {"__index", FailIndex},
                                    {"__newindex", FailIndex}};

constexpr luaL_Reg kFunctions[] = {{"SMA", CallSma},           {"DMA", CallDma},
                                   {"CROSS", CallCross},       {"IF", CallIf},
                                   {"ABS", CallAbs},           {"MAX", CallBest<Larger>},
                                   {"MIN", CallBest<Smaller>}, {"BARSLAST", CallBarsLast}};

constexpr lua_CFunction kHelperCalls[] = {CompareValues<Less>,
                                          CompareValues<LessEqual>,
                                          CompareValues<Greater>,
                                          CompareValues<GreaterEqual>,
                                          CompareValues<Equal>,
                                          CompareValues<NotEqual>,
                                          Logic<Both>,
                                          Logic<Either>,
                                          Not,
                                          Test};
static_assert(std::size(kHelperCalls) == std::size(kHelpers));

constexpr InputColumn kInputs[] = {
    {"OPEN", [](const ZPMDefine_KData& bar) { return double(bar.nOpen); }},
    {"HIGH", [](const ZPMDefine_KData& bar) { return double(bar.nHigh); }},
    {"LOW", [](const ZPMDefine_KData& bar) { return double(bar.nLow); }},
    {"CLOSE", [](const ZPMDefine_KData& bar) { return double(bar.nClose); }},
    {"VOLUME", [](const ZPMDefine_KData& bar) { return double(bar.iVolume); }},
    {"AMOUNT", [](const ZPMDefine_KData& bar) { return double(bar.iTurnover); }},
    {"INTEREST", [](const ZPMDefine_KData& bar) { return double(bar.nInterest); }},
};

}  // namespace

ColumnView ViewColumn(lua_State* L, int nIndex) {
    Column* p = ToColumn(L, nIndex);
    return p != nullptr ? p->View() : ColumnView{nullptr, 0, 0};
}

const InputColumn* FindInput(std::string_view name) {
    const auto* p = std::find_if(std::begin(kInputs), std::end(kInputs),
                                 [&](const InputColumn& input) { return input.szName == name; });
    return p != std::end(kInputs) ? p : nullptr;
}

void PushInput(lua_State* L, const InputColumn& input, const ZPMDefine_KData* pBars, size_t nBars) {
    double* pCells = NewColumn(L, nBars, 0)->Cells();
    for (size_t i = 0; i < nBars; ++i) pCells[i] = input.pfn(pBars[i]);
}

void PushFunctions(lua_State* L) {
    lua_newtable(L);
    for (const luaL_Reg& row : kArithmetic) {
        lua_pushcfunction(L, row.func);
        lua_setfield(L, -2, row.name);
    }
    lua_pushliteral(L, "column");
    lua_setfield(L, -2, "__name");
    lua_rawsetp(L, LUA_REGISTRYINDEX, &kMetatable);

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

void PushHelpers(lua_State* L) {
    luaL_checkstack(L, static_cast<int>(std::size(kHelperCalls)), nullptr);
    for (const lua_CFunction pfn : kHelperCalls) lua_pushcfunction(L, pfn);
}

}  // namespace qrx::server::formula
