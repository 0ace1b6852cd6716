// Records of a range of trading days, fetched and written a day at a time, so that memory stays
// flat and progress can be shown. Days without data are passed over.
#ifndef QRX_CLI_COMMANDS_SERIES_H
#define QRX_CLI_COMMANDS_SERIES_H

#include <cstring>
#include <functional>
#include <memory>
#include <optional>

#include "app/context.h"
#include "output/progress.h"
#include "text/dates.h"

namespace qrx::cli {

// What does not depend on the kind of record.
class Series {
public:
    // szWhat is a plural: "trades". Reads the arguments before it connects.
    Series(Context& context, const char* szWhat, const std::vector<RecordColumn>& vecColumns);

    const QRXDefine_Code& Code() const { return m_code; }
    // The next day with the bounds that hold on it, while days and rows are wanted.
    struct Day {
        int nDate;
        int nBegin;
        int nEnd;
    };
    std::optional<Day> Next();
    void Take(ResultCode code, const void* pRecords, size_t nCount, size_t nRecordBytes);
    void Finish();

private:
    std::string What() const;

    Context& m_context;
    const char* m_szWhat;
    const std::vector<RecordColumn>& m_vecColumns;
    DayRange m_range;
    std::vector<int> m_vecDays;
    size_t m_nNext = 0;
    std::unique_ptr<Results> m_pResults;
    QRXDefine_Code m_code;
    std::optional<Progress> m_progress;
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

// beforeDay may add to a day's request, or look at the day first.
template <class Record, class Request>
void RunSeries(Context& context, const char* szWhat,
               Result<Array<Record>> (Session::*pfnFetch)(const Request&),
               const std::function<void(Request&, const QRXDefine_Code&)>& beforeDay = {}) {
    Series series(context, szWhat, ColumnsOf<Record>());
    while (const auto day = series.Next()) {
        Request request{};
        FillRequest(request, series.Code(), day->nDate, day->nDate, day->nBegin, day->nEnd);
        if (beforeDay) beforeDay(request, series.Code());
        const auto result = (context.Connect().Get().*pfnFetch)(request);
        series.Take(result.code, result.value.data(), result.value.size(), sizeof(Record));
    }
    series.Finish();
}

}  // namespace qrx::cli

#endif
