// The importers by family, each in the file of its name; MakeImporter (import/importer.h) chooses.
#ifndef QRX_SERVER_IMPORT_IMPORTERS_H
#define QRX_SERVER_IMPORT_IMPORTERS_H

#include "import/importer.h"

namespace qrx::server {

std::unique_ptr<Importer> MakeCodeImporter(Store& store, const ImportOptions& options);
std::unique_ptr<Importer> MakeBarImporter(Store& store, const ImportOptions& options);
std::unique_ptr<Importer> MakeAdjustImporter(Store& store, const ImportOptions& options);
// Ticks, trades, orders, order queues and snapshots; null for every other kind.
std::unique_ptr<Importer> MakeDayImporter(ImportKind kind, Store& store,
                                          const ImportOptions& options);

// A security, which must be in a code table: throws ImportError with the line that names it.
CodeRow KnownCode(Store& store, const std::string& strMarket, const std::string& strCode,
                  int64_t nLine);

}  // namespace qrx::server

#endif
