// One run: the environment in which a formula reads and assigns globals, the run in its sandbox,
// and the check of what it left behind.
#include "formula/evaluate.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <limits>

#include "formula/language.h"
#include "formula/sandbox.h"
#include "formula/series.h"
#include "formula/tokens.h"
#include "formula/translate.h"
#include "support/strings.h"

namespace qrx::server::formula {
namespace {

// Keys in the registry, by address.
const char kFunctions = 0;  // what the language has, by name; input columns once they were read
const char kOrder = 0;      // names of globals, as first assigned
const char kLines = 0;      // by name, where that was
const char kGlobals = 0;

constexpr double kMadeUp[] = {10, 5, 3, 2};  // windows that fall, as SMA(X, n, m) wants them

struct Run {
    const Translation& translation;
    const Parameters& parameters;
    std::span<const ZPMDefine_KData> bars;
    bool bTrial = false;
    // Parameters whose values were made up, in the order in which they were read.
    std::array<char[4], 16> guesses{};
    size_t nGuesses = 0;

    const double* Guess(const char* szName) {
        if (!bTrial || strlen(szName) >= sizeof guesses[0] || !IsParameterName(szName)) {
            return nullptr;
        }
        size_t i = 0;
        while (i < nGuesses && strcmp(guesses[i], szName) != 0) ++i;
        if (i == guesses.size()) return nullptr;
        if (i == nGuesses) strcpy(guesses[nGuesses++], szName);
        return &kMadeUp[std::min(i, std::size(kMadeUp) - 1)];
    }
};

Run& RunOf(lua_State* L) {
    return *static_cast<Run*>(lua_touserdata(L, lua_upvalueindex(1)));
}

// Whole numbers as such, so that loops count in them.
void PushNumber(lua_State* L, double f) {
    if (f == std::floor(f) && std::fabs(f) < 1e15) {
        lua_pushinteger(L, static_cast<lua_Integer>(f));
    } else {
        lua_pushnumber(L, f);
    }
}

bool IsOfLanguage(lua_State* L, const char* szName) {
    if (FindInput(szName) != nullptr) return true;
    lua_rawgetp(L, LUA_REGISTRYINDEX, &kFunctions);
    const bool bFunction = lua_getfield(L, -1, szName) != LUA_TNIL;
    lua_pop(L, 2);
    return bFunction;
}

// Globals that were not assigned: (globals, name).
int ReadGlobal(lua_State* L) {
    Run& run = RunOf(L);
    const char* szName = lua_tostring(L, 2);
    lua_rawgetp(L, LUA_REGISTRYINDEX, &kFunctions);
    lua_pushvalue(L, 2);
    if (lua_rawget(L, -2) != LUA_TNIL) return 1;
    if (const InputColumn* pInput = FindInput(szName)) {
        PushInput(L, *pInput, run.bars.data(), run.bars.size());
        lua_pushvalue(L, 2);
        lua_pushvalue(L, -2);
        lua_rawset(L, 3);
        return 1;
    }
    if (const auto it = run.parameters.find(std::string_view(szName)); it != run.parameters.end()) {
        PushNumber(L, it->second);
        return 1;
    }
    if (run.translation.setDefaults.contains(std::string_view(szName))) return 0;
    if (const double* pGuess = run.Guess(szName)) {
        PushNumber(L, *pGuess);
        return 1;
    }
    if (IsParameterName(szName)) {
        return luaL_error(L, "unknown name %s; as a parameter it needs a value: %s=5", szName,
                          szName);
    }
    char szUpper[16] = {};
    strncpy(szUpper, szName, sizeof szUpper - 1);
    strupr_n(szUpper, sizeof szUpper);
    return luaL_error(L,
                      IsOfLanguage(L, szUpper) ? "unknown name %s, is it %s?" : "unknown name %s",
                      szName, szUpper);
}

// Globals that have no value yet: (globals, name, value).
int AssignGlobal(lua_State* L) {
    if (IsOfLanguage(L, lua_tostring(L, 2))) {
        return luaL_error(L, "%s cannot be assigned, it is part of the language",
                          lua_tostring(L, 2));
    }
    lua_rawgetp(L, LUA_REGISTRYINDEX, &kLines);
    lua_pushvalue(L, 2);
    if (lua_rawget(L, -2) == LUA_TNIL) {
        lua_Debug where;
        where.currentline = 0;
        if (lua_getstack(L, 1, &where) != 0) lua_getinfo(L, "l", &where);
        lua_pushvalue(L, 2);
        lua_pushinteger(L, where.currentline);
        lua_rawset(L, 4);
        lua_rawgetp(L, LUA_REGISTRYINDEX, &kOrder);
        lua_pushvalue(L, 2);
        lua_rawseti(L, -2, static_cast<lua_Integer>(lua_rawlen(L, -2)) + 1);
    }
    lua_settop(L, 3);
    lua_rawset(L, 1);
    return 0;
}

// The whole run, called protected: (run).
int RunChunk(lua_State* L) {
    Run& run = *static_cast<Run*>(lua_touserdata(L, 1));
    PrepareColumns(L);
    PushFunctions(L);
    lua_rawsetp(L, LUA_REGISTRYINDEX, &kFunctions);
    for (const char* pKey : {&kOrder, &kLines}) {
        lua_newtable(L);
        lua_rawsetp(L, LUA_REGISTRYINDEX, pKey);
    }
    lua_newtable(L);
    lua_createtable(L, 0, 2);
    lua_pushvalue(L, 1);
    lua_pushcclosure(L, ReadGlobal, 1);
    lua_setfield(L, -2, "__index");
    lua_pushcfunction(L, AssignGlobal);
    lua_setfield(L, -2, "__newindex");
    lua_setmetatable(L, -2);
    lua_pushvalue(L, -1);
    lua_rawsetp(L, LUA_REGISTRYINDEX, &kGlobals);

    const std::string& strLua = run.translation.strLua;
    if (luaL_loadbufferx(L, strLua.data(), strLua.size(), "=line", "t") != LUA_OK) {
        return lua_error(L);
    }
    lua_rotate(L, -2, 1);
    lua_setupvalue(L, -2, 1);  // its only one: where it finds globals
    PushHelpers(L);
    lua_call(L, static_cast<int>(std::size(kHelpers)), 0);
    return 0;
}

void CheckName(const std::string& strName, int nLine) {
    if (strName.size() > kMaxColumnName) {
        FailAt(nLine, "the column's name " + strName.substr(0, 40) + " has " +
                          std::to_string(strName.size()) + " characters, at most 27 can be sent");
    }
    for (const char* szTaken : {"Code", "Date", "Time"}) {
        if (CompareNoCase(strName.c_str(), szTaken) == 0) {
            FailAt(nLine,
                   "a column cannot be named " + strName + ", answers have one of that name");
        }
    }
}

OutputColumn RoundedColumn(const std::string& strName, int nLine, const ColumnView& view,
                           std::span<const ZPMDefine_KData> bars) {
    OutputColumn column{strName, std::min(view.nStart, view.nRows - 1),
                        std::vector<int32_t>(view.nRows)};
    for (size_t i = view.nStart; i < view.nRows; ++i) {
        const double f = std::round(view.pCells[i]);  // half away from zero
        if (f >= std::numeric_limits<int32_t>::min() && f <= std::numeric_limits<int32_t>::max()) {
            column.vecCells[i] = static_cast<int32_t>(f);
            continue;
        }
        char szValue[32];
        snprintf(szValue, sizeof szValue, std::isnan(f) ? "not a number" : "%.6g", view.pCells[i]);
        char szWhy[96];
        snprintf(szWhy, sizeof szWhy, " is %s in row %zu (%d), %s", szValue, i + 1,
                 int{bars[i].nDate},
                 std::isfinite(f) ? "32 bits are sent: divide it" : "which no cell can hold");
        FailAt(nLine, strName + szWhy);
    }
    return column;
}

// A column that the run left behind.
struct Found {
    std::string strName;
    int nLine;  // of the first assignment
    ColumnView view;
};

// In the order of first assignment; of A, B = 1, 2 Lua assigns B first, and A comes first here.
// Nothing here raises an error or allocates in the sandbox.
std::vector<Found> FindColumns(lua_State* L, const Translation& translation) {
    std::vector<Found> vecFound;
    lua_rawgetp(L, LUA_REGISTRYINDEX, &kGlobals);
    lua_rawgetp(L, LUA_REGISTRYINDEX, &kLines);
    lua_rawgetp(L, LUA_REGISTRYINDEX, &kOrder);
    for (lua_Integer i = 1; lua_rawgeti(L, 3, i) != LUA_TNIL; ++i) {
        lua_pushvalue(L, 4);
        lua_rawget(L, 1);
        lua_pushvalue(L, 4);
        lua_rawget(L, 2);
        const ColumnView view = ViewColumn(L, 5);
        if (view.pCells != nullptr) {
            vecFound.push_back({lua_tostring(L, 4), static_cast<int>(lua_tointeger(L, 6)), view});
        }
        lua_settop(L, 3);
    }
    for (auto it = vecFound.begin(); it != vecFound.end();) {
        const auto end = std::find_if(it, vecFound.end(),
                                      [&](const Found& found) { return found.nLine != it->nLine; });
        std::sort(it, end, [&](const Found& a, const Found& b) {
            return translation.mapTargets.at(a.strName) < translation.mapTargets.at(b.strName);
        });
        it = end;
    }
    return vecFound;
}

std::vector<OutputColumn> Outputs(lua_State* L, const Run& run) {
    const auto vecFound = FindColumns(L, run.translation);
    const auto& bars = run.bars;
    if (vecFound.empty()) {
        throw FormulaError("no column is assigned; write such as A = MA(CLOSE, 5)");
    }
    if (vecFound.size() > kMaxColumns) {
        FailAt(vecFound[kMaxColumns].nLine,
               std::to_string(vecFound.size()) + " columns are too many, at most " +
                   std::to_string(kMaxColumns) + "; local names are not sent");
    }
    if (vecFound.size() * bars.size() > kMaxCells) {
        throw FormulaError(std::to_string(vecFound.size()) + " columns of " +
                           std::to_string(bars.size()) + " rows are too many, at most " +
                           std::to_string(kMaxCells) + " cells are sent");
    }
    std::vector<OutputColumn> vecColumns;
    for (const Found& found : vecFound) {
        CheckName(found.strName, found.nLine);
        vecColumns.push_back(RoundedColumn(found.strName, found.nLine, found.view, bars));
    }
    return vecColumns;
}

void CheckParameters(const Parameters& parameters, const Translation& translation) {
    for (const auto& [strName, f] : parameters) {
        if (!translation.setNames.contains(strName)) {
            throw FormulaError("the formula has no parameter " + strName);
        }
    }
}

std::vector<OutputColumn> Evaluate(Run& run, const Bounds& bounds) {
    Sandbox sandbox(bounds);
    sandbox.Run(RunChunk, &run);
    return Outputs(sandbox.State(), run);
}

}  // namespace

std::vector<OutputColumn> Evaluate(std::string_view text, const Parameters& parameters,
                                   std::span<const ZPMDefine_KData> bars, const Bounds& bounds) {
    const Translation translation = Translate(text);
    CheckParameters(parameters, translation);
    Run run{translation, parameters, bars};
    return Evaluate(run, bounds);
}

Trial Try(std::string_view text, const Bounds& bounds) {
    const Translation translation = Translate(text);
    const std::vector<ZPMDefine_KData> vecBars = BuiltInSeries();
    Run run{translation, {}, vecBars, true};
    Trial trial;
    for (auto& column : Evaluate(run, bounds)) {
        trial.vecColumns.push_back(std::move(column.strName));
    }
    for (size_t i = 0; i < run.nGuesses; ++i) trial.vecParameters.emplace_back(run.guesses[i]);
    return trial;
}

}  // namespace qrx::server::formula
