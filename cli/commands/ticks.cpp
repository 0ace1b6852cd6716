// ticks, trades, orders and queues.
#include "commands/command.h"
#include "commands/series.h"

namespace qrx::cli {

void RunTicks(Context& context) {
    if (context.Args().Has("--book")) {
        RunSeries(context, "ticks", &Session::TicksWithBook);
    } else {
        RunSeries(context, "ticks", &Session::Ticks);
    }
}

void RunTrades(Context& context) {
    RunSeries(context, "trades", &Session::Trades);
}

void RunOrders(Context& context) {
    RunSeries(context, "orders", &Session::Orders);
}

void RunQueues(Context& context) {
    RunSeries(context, "order queues", &Session::OrderQueues);
}

}  // namespace qrx::cli
