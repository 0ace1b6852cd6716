// Columns in the sandbox's memory: made, recognised, and filled from bars.
#include "formula/values.h"

#include "formula/language.h"
#include "formula/sandbox.h"

namespace qrx::server::formula {
namespace {

const char kMetatable = 0;          // its address is the key in the registry
constexpr uint64_t kRowsAStep = 8;  // of a plain column function

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

Column* NewColumn(lua_State* L, size_t nRows, size_t nStart, uint64_t nCost) {
    Sandbox::Spend(L, nCost * (nRows / kRowsAStep + 1));
    const size_t nBytes = sizeof(Column) + nRows * sizeof(double);
    Sandbox::MakeRoom(L, nBytes);
    auto* p = static_cast<Column*>(lua_newuserdatauv(L, nBytes, 0));
    p->nRows = nRows;
    p->nStart = nStart;
    lua_rawgetp(L, LUA_REGISTRYINDEX, &kMetatable);
    lua_setmetatable(L, -2);
    return p;
}

void SetColumnMetatable(lua_State* L) {
    lua_rawsetp(L, LUA_REGISTRYINDEX, &kMetatable);
}

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

const char* TypeName(lua_State* L, int nIndex) {
    return ToColumn(L, nIndex) != nullptr ? "column" : luaL_typename(L, nIndex);
}

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

}  // namespace qrx::server::formula
