// Import of CSV files into a store: codes and days of records. A file is read whole and then
// written in one transaction: all of it or nothing. The columns are those of share/fields.def, and
// market, code, datetime, trading_day and millisecond.
#ifndef QRX_SERVER_IMPORT_IMPORTER_H
#define QRX_SERVER_IMPORT_IMPORTER_H

#include <memory>
#include <string>
#include <vector>

#include "import/csv.h"
#include "import/trading_day.h"
#include "import/values.h"
#include "store/store.h"

namespace qrx::server {

struct ImportOptions {
    NamePairs vecMap;
    NamePairs vecSet;
    bool bCumulative = false;  // columns volume and turnover count from the day's begin
    int nPriceShift = 0;       // a price of the file is ten to this power of the currency unit
    int nVolumeShift = 0;
    int nTurnoverShift = 0;
    TimeForm timeForm = TimeForm::HhmmssMmm;
    NightForm nightForm = NightForm::Calendar;
    std::string strEncoding = "utf-8";
    int nBarMinutes = 1;          // that a bar covers: 1 or 5; 0: bars of a day
    bool bLabelAtEnd = false;     // minute bars are named by the end of their interval
    bool bRefuseAuction = false;  // instead of joining an auction's bar to the session's first
    bool bAppend = false;         // to the days that are stored, instead of replacing them
    bool bProgress = false;       // shows how far a file is read
};

enum class ImportKind { Codes, Ticks, Trades, Orders, Queues, Snapshots, Bars, Adjust };

struct ImportResult {
    int64_t nRows = 0;
    int64_t nRecords = 0;
    int64_t nDays = 0;     // security days written
    int64_t nOutside = 0;  // bars outside the sessions of their security, which were kept
};

// Files given to one importer belong together: a day that several of them hold is put together from
// all of them.
class Importer {
public:
    virtual ~Importer() = default;
    virtual ImportResult ImportFile(const std::string& strPath) = 0;
};

std::unique_ptr<Importer> MakeImporter(ImportKind kind, Store& store, const ImportOptions& options);

}  // namespace qrx::server

#endif
