// Which importer serves a kind of file.
#include "import/importers.h"

namespace qrx::server {

std::unique_ptr<Importer> MakeImporter(ImportKind kind, Store& store,
                                       const ImportOptions& options) {
    switch (kind) {
        case ImportKind::Codes:
            return MakeCodeImporter(store, options);
        case ImportKind::Bars:
            return MakeBarImporter(store, options);
        case ImportKind::Adjust:
            return MakeAdjustImporter(store, options);
        default:
            return MakeDayImporter(kind, store, options);
    }
}

}  // namespace qrx::server
