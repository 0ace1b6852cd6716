// What must hold before the library may be asked to complete bars or snapshots onto a session grid:
// a market without a grid, and data that break a grid's conditions, would stop the process there.
// The records are fetched plain first and looked at here.
#ifndef QRX_CLI_COMMANDS_COMPLETION_H
#define QRX_CLI_COMMANDS_COMPLETION_H

#include <qrx/code.h>

namespace qrx::cli {

enum class Completed { Bars, Snapshots };

// Throws Failure(EXIT_COMPLETION) for a market without a grid.
void CheckCompletable(const QRXDefine_Code& code, Completed kind);

// Throws Failure(EXIT_COMPLETION) when the first record lies before its market's session.
void CheckCompletable(const QRXDefine_Code& code, Completed kind, int nFirstDate, int nFirstTime);

}  // namespace qrx::cli

#endif
