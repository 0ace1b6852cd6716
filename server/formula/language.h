// What a formula can name: the columns of its bars and the functions, no library of Lua's. Columns
// are userdata that know arithmetic; their cells lie in the sandbox's memory.
#ifndef QRX_SERVER_FORMULA_LANGUAGE_H
#define QRX_SERVER_FORMULA_LANGUAGE_H

#include <lua.hpp>

#include <string_view>

#include "codec/kline_records.h"
#include "formula/column.h"

namespace qrx::server::formula {

// The value at an index of the stack when it is a column, else no rows and no cells.
ColumnView ViewColumn(lua_State* L, int nIndex);

// Columns of the bars, by name.
struct InputColumn {
    const char* szName;
    double (*pfn)(const ZPMDefine_KData& bar);
};
const InputColumn* FindInput(std::string_view name);

// Pushes the column. The number of bars is that of all columns of the state.
void PushInput(lua_State* L, const InputColumn& input, const ZPMDefine_KData* pBars, size_t nBars);

// Tells columns what operators do with them. Before the first column is made.
void PrepareColumns(lua_State* L);

// Pushes a table of the functions, by name.
void PushFunctions(lua_State* L);

// Pushes the calls of kHelpers (translate.h), in their order.
void PushHelpers(lua_State* L);

}  // namespace qrx::server::formula

#endif
