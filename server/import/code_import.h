// Import of code tables.
#ifndef QRX_SERVER_IMPORT_CODE_IMPORT_H
#define QRX_SERVER_IMPORT_CODE_IMPORT_H

#include "import/importer.h"

namespace qrx::server {

std::unique_ptr<Importer> MakeCodeImporter(Store& store, const ImportOptions& options);

}  // namespace qrx::server

#endif
