// Import of bars and of adjustment factors.
#ifndef QRX_SERVER_IMPORT_BAR_IMPORT_H
#define QRX_SERVER_IMPORT_BAR_IMPORT_H

#include "import/importer.h"

namespace qrx::server {

std::unique_ptr<Importer> MakeBarImporter(Store& store, const ImportOptions& options);
std::unique_ptr<Importer> MakeAdjustImporter(Store& store, const ImportOptions& options);

}  // namespace qrx::server

#endif
