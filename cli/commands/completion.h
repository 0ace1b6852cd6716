// What must hold before the library may be asked to complete bars or snapshots onto a session grid:
// a market without a grid, and records that break a grid's conditions, would stop the process
// there. The records are fetched plain first and held against the very tables and steps that
// completion uses.
#ifndef QRX_CLI_COMMANDS_COMPLETION_H
#define QRX_CLI_COMMANDS_COMPLETION_H

#include <qrx/code.h>
#include <qrx/futures.h>
#include <qrx/kline.h>

#include <span>

namespace qrx::cli {

enum class Completed { Bars, Snapshots };

// All throw Failure(EXIT_COMPLETION) with a sentence that names day, record and rule.

// By the market alone, before anything is fetched.
void CheckCompletable(const QRXDefine_Code& code, Completed kind);
// A whole answer of bars.
void CheckCompletable(const QRXDefine_Code& code, std::span<const QRXDefine_KLine> bars);
// One trading day of snapshots.
void CheckCompletable(const QRXDefine_Code& code, std::span<const QRXDefine_Future> day, int nDate);
void CheckCompletable(const QRXDefine_Code& code, std::span<const QRXDefine_FutureAB> day,
                      int nDate);

}  // namespace qrx::cli

#endif
