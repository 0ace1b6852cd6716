// The kinds of records that a trading day of a security consists of, and bars: each with its name,
// its columns and the call that fetches it. One table for the commands that write one kind and for
// export, which writes several.
#ifndef QRX_CLI_COMMANDS_KINDS_H
#define QRX_CLI_COMMANDS_KINDS_H

#include <qrx/qrx.hpp>

#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "app/arguments.h"
#include "commands/cycle.h"
#include "output/results.h"

namespace qrx::cli {

// Trading days from the first to the last, with a time bound on each end; 0: none.
struct Slice {
    int nFrom;
    int nTo;
    int nBegin = 0;
    int nEnd = 0;
};

// An answer whose kind of record is known to its maker only.
struct Fetched {
    ResultCode code = ResultCode::Argument;
    std::shared_ptr<const void> pOwner{};
    const void* pRecords = nullptr;
    size_t nCount = 0;
};

struct RecordKind {
    std::string strName;   // of its table and folder: "ticks_book"
    const char* szPlural;  // "ticks"
    const std::vector<RecordColumn>* pColumns;
    size_t nRecordBytes;
    bool bInstants;  // no: rows are of days
    bool bDaily;     // fetched a day at a time; no: bars that span days
    std::function<Fetched(Session&, const QRXDefine_Code&, const Slice&)> fetch;

    Shape GetShape() const { return {strName, {pColumns->begin(), pColumns->end()}, bInstants}; }
};

template <class Request>
void FillRequest(Request& request, const QRXDefine_Code& code, int nFrom, int nTo, int nBegin,
                 int nEnd) {
    static_assert(sizeof request.chCode == sizeof code.szVelaCode);
    memcpy(request.chCode, code.szVelaCode, sizeof request.chCode);
    request.nBeginDate = nFrom;
    request.nEndDate = nTo;
    request.nBeginTime = nBegin;
    request.nEndTime = nEnd;
}

template <class Request>
Request RequestFor(const QRXDefine_Code& code, const Slice& slice) {
    Request request{};
    FillRequest(request, code, slice.nFrom, slice.nTo, slice.nBegin, slice.nEnd);
    return request;
}

template <class Record>
Fetched ToFetched(Result<Array<Record>> result) {
    Fetched fetched{result.code};
    fetched.pRecords = result.value.data();
    fetched.nCount = result.value.size();
    fetched.pOwner = std::make_shared<Array<Record>>(std::move(result.value));
    return fetched;
}

// ticks, ticks_book, trades, orders, queues, futures, futures_book.
const RecordKind& KindOf(const std::string& strName);

// The futures kind of the name, each day laid onto its session grid. Fetching throws
// Failure(EXIT_COMPLETION) for a day that cannot be.
RecordKind CompletedKind(const std::string& strName);

// Bars of a cycle: "bars_5m", "bars_5m_complete", "bars_d_forward_20240105". Adjusted and completed
// as the arguments say; fetching bars to be completed throws as above.
RecordKind BarKind(const Cycle& cycle, const Arguments& arguments = {});

// Any of them by its name, with what the arguments say of --complete and --adjust. Throws
// Failure(EXIT_USAGE) that names the nearest; strOption names the option in it.
RecordKind ParseKind(const std::string& strName, const std::string& strOption,
                     const Arguments& arguments);

}  // namespace qrx::cli

#endif
