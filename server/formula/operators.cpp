// Operators between columns: arithmetic as Lua asks columns for it, comparison and logic as the
// calls into which they were translated.
#include <functional>
#include <iterator>
#include <type_traits>

#include "formula/language.h"
#include "formula/translate.h"
#include "formula/values.h"

namespace qrx::server::formula {
namespace {

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

int Negate(lua_State* L) {
    Operand a;
    ToOperand(L, 1, a);
    PushApplied(L, a, {nullptr, 0}, [](double f, double) { return -f; });
    return 1;
}

// Between columns row by row; between other values as in Lua, texts not ordered.
template <class Operation>
int CompareValues(lua_State* L) {
    constexpr bool bEqual = std::is_same_v<Operation, std::equal_to<>>;
    constexpr bool bOrder = !bEqual && !std::is_same_v<Operation, std::not_equal_to<>>;
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

constexpr luaL_Reg kArithmetic[] = {{"__add", Arithmetic<std::plus<>>},
                                    {"__sub", Arithmetic<std::minus<>>},
                                    {"__mul", Arithmetic<std::multiplies<>>},
                                    {"__div", Arithmetic<std::divides<>>},
                                    {"__idiv", Arithmetic<FloorDivide>},
                                    {"__mod", Arithmetic<Modulo>},
                                    {"__pow", Arithmetic<Power>},
                                    {"__unm", Negate},
                                    {"__index", FailIndex},
                                    {"__newindex", FailIndex}};

constexpr lua_CFunction kHelperCalls[] = {CompareValues<std::less<>>,
                                          CompareValues<std::less_equal<>>,
                                          CompareValues<std::greater<>>,
                                          CompareValues<std::greater_equal<>>,
                                          CompareValues<std::equal_to<>>,
                                          CompareValues<std::not_equal_to<>>,
                                          Logic<Both>,
                                          Logic<Either>,
                                          Not,
                                          Test};
static_assert(std::size(kHelperCalls) == std::size(kHelpers));

}  // namespace

void PrepareColumns(lua_State* L) {
    lua_newtable(L);
    for (const luaL_Reg& row : kArithmetic) {
        lua_pushcfunction(L, row.func);
        lua_setfield(L, -2, row.name);
    }
    lua_pushliteral(L, "column");
    lua_setfield(L, -2, "__name");
    SetColumnMetatable(L);
}

void PushHelpers(lua_State* L) {
    luaL_checkstack(L, static_cast<int>(std::size(kHelperCalls)), nullptr);
    for (const lua_CFunction pfn : kHelperCalls) lua_pushcfunction(L, pfn);
}

}  // namespace qrx::server::formula
