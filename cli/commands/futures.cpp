// futures: snapshots of contracts and options.
#include "commands/command.h"
#include "commands/series.h"

namespace qrx::cli {
void RunFutures(Context& context) {
    const char* szName = context.Args().Has("--book") ? "futures_book" : "futures";
    if (context.Args().Has("--complete")) {
        RunSeries(context, CompletedKind(szName));
    } else {
        RunSeries(context, KindOf(szName));
    }
}

}  // namespace qrx::cli
