// Fetches the parts of an export that its folder lacks and writes each one whole: into a file of
// its own, or as rows of one database. The manifest follows within a second or the twentyfold of
// the time that it takes, and when the export ends, early or not.
#ifndef QRX_CLI_EXPORT_EXPORTER_H
#define QRX_CLI_EXPORT_EXPORTER_H

#include <chrono>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "app/context.h"
#include "commands/kinds.h"
#include "export/manifest.h"
#include "output/progress.h"
#include "text/dates.h"

namespace qrx::cli {

struct PlannedPart {
    const RecordKind* pKind;
    const QRXDefine_Code* pCode;
    Slice slice;
    std::string Name() const;
    DayRange Days() const { return {slice.nFrom, slice.nTo, 0, 0}; }
};

// Parts by what became of them.
struct ExportTally {
    int nWritten = 0;
    int nThere = 0;   // had been written before
    int nEmpty = 0;   // the server has no data
    int nOpen = 0;    // of the written and the empty ones: to be asked again
    int nUnfit = 0;   // a kind of record that this security does not have
    int nFailed = 0;  // could not be completed onto the session grid
    std::string strFailed;
    bool bAnyRow = false;  // in the folder
    int64_t nRows = 0;
};

class Exporter {
public:
    Exporter(Context& context, OutputChoice choice, Manifest& manifest);

    // What was written stays and is in the manifest, whatever is thrown.
    ExportTally Run(std::vector<PlannedPart> vecParts);

private:
    bool IsThere(PlannedPart& part);
    bool IsOpen(const PlannedPart& part, bool bEmpty) const;
    void Take(const PlannedPart& part);
    Part Write(const PlannedPart& part, const Fetched& fetched);
    void Save();
    void SaveNowAndThen();

    Context& m_context;
    const OutputChoice m_choice;
    Manifest& m_manifest;
    std::optional<Database> m_database;
    std::optional<Progress> m_progress;
    ExportTally m_tally;
    std::set<std::pair<const RecordKind*, const QRXDefine_Code*>> m_unfit;
    std::chrono::steady_clock::time_point m_saved = std::chrono::steady_clock::now();
    std::chrono::steady_clock::duration m_pause = std::chrono::seconds(1);  // until the next time
    const int m_nToday = TodayAtExchange();
};

}  // namespace qrx::cli

#endif
