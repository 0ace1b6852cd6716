// ticks, trades, orders and queues.
#include "commands/command.h"
#include "commands/series.h"

namespace qrx::cli {

void RunTicks(Context& context) {
    RunSeries(context, KindOf(context.Args().Has("--book") ? "ticks_book" : "ticks"));
}

void RunTrades(Context& context) {
    RunSeries(context, KindOf("trades"));
}

void RunOrders(Context& context) {
    RunSeries(context, KindOf("orders"));
}

void RunQueues(Context& context) {
    RunSeries(context, KindOf("queues"));
}

}  // namespace qrx::cli
