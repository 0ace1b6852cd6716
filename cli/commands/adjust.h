// The options --adjust, --adjust-date and --adjust-volume of every command that asks for bars.
#ifndef QRX_CLI_COMMANDS_ADJUST_H
#define QRX_CLI_COMMANDS_ADJUST_H

#include <qrx/kline.h>

#include "app/arguments.h"

namespace qrx::cli {

// Throws Failure(EXIT_USAGE).
void FillAdjustment(QRXDefine_ReqKLine& request, const Arguments& arguments);

}  // namespace qrx::cli

#endif
