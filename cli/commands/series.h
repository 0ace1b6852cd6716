// Records of a range of trading days, fetched and written a day at a time, so that memory stays
// flat and progress can be shown. Days without data are passed over.
#ifndef QRX_CLI_COMMANDS_SERIES_H
#define QRX_CLI_COMMANDS_SERIES_H

#include <functional>
#include <memory>
#include <optional>

#include "app/context.h"
#include "commands/kinds.h"
#include "output/progress.h"
#include "text/dates.h"

namespace qrx::cli {

class Series {
public:
    // Reads the arguments before it connects.
    Series(Context& context, const RecordKind& kind);

    const QRXDefine_Code& Code() const { return m_code; }
    // The next day with the bounds that hold on it, while days and rows are wanted.
    std::optional<Slice> Next();
    void Take(const Fetched& fetched);
    void Finish();

private:
    std::string What() const;

    Context& m_context;
    const RecordKind& m_kind;
    DayRange m_range;
    std::vector<int> m_vecDays;
    size_t m_nNext = 0;
    std::unique_ptr<Results> m_pResults;
    QRXDefine_Code m_code;
    std::optional<Progress> m_progress;
};

void RunSeries(Context& context, const RecordKind& kind);

}  // namespace qrx::cli

#endif
