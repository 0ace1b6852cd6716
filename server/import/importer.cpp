// Which importer serves a kind of file, and what several of them ask.
#include "import/importers.h"

#include <utility>

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

CodeRow KnownCode(Store& store, const std::string& strMarket, const std::string& strCode,
                  int64_t nLine) {
    auto code = store.FindCode(strMarket, strCode);
    if (!code) {
        throw ImportError(nLine,
                          strCode + "." + strMarket + " is in no code table (import codes first)");
    }
    return std::move(*code);
}

}  // namespace qrx::server
