// What an export can hold: the kinds of records by name, which securities have them, and how one
// piece of them is fetched. Kinds come in days, but for bars of a day and longer, of which a piece
// is the whole range.
#ifndef QRX_CLI_EXPORT_KIND_H
#define QRX_CLI_EXPORT_KIND_H

#include <functional>
#include <qrx/qrx.hpp>
#include <string>
#include <vector>

#include "app/arguments.h"
#include "output/columns.h"

namespace qrx::cli {

// What the server had for one piece; the records are valid while Fetch's caller looks at them.
struct Fetched {
    ResultCode code;
    const void* pRecords;
    size_t nCount;
    size_t nRecordBytes;
};

struct ExportKind {
    std::string strName;  // "ticks", "futures:book", "bars:5m"
    bool bDaily = true;   // a piece is a day
    const std::vector<RecordColumn>* pColumns = nullptr;
    // Whether securities of this type have such records. Throws Failure(EXIT_COMPLETION) when they
    // are to be completed and the security's market has no session grid.
    std::function<bool(const QRXDefine_Code&)> suits;
    // Throws Failure(EXIT_COMPLETION) when this piece cannot be completed.
    std::function<void(Session&, const QRXDefine_Code&, int nFrom, int nTo,
                       const std::function<void(const Fetched&)>& take)>
        fetch;
};

// --kind and what goes with it, in the order of the names, each once. Throws Failure(EXIT_USAGE).
std::vector<ExportKind> ParseKinds(const Arguments& arguments);

// What --kind takes, for help.
extern const char* const kKindNames;

}  // namespace qrx::cli

#endif
