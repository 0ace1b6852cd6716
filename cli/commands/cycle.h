// Bar cycles as users write them: 30s, 1m, 5m, d, w, month, quarter, half, y, with a count in
// front.
#ifndef QRX_CLI_COMMANDS_CYCLE_H
#define QRX_CLI_COMMANDS_CYCLE_H

#include <qrx/kline.h>

#include <string>

namespace qrx::cli {

struct Cycle {
    CYCTYPE nType;
    int nCount;
    bool Intraday() const { return nType == CYC_SECOND || nType == CYC_MINUTE; }
    std::string Text() const;  // one text a cycle: 30s, 1m, d, 2w
};

// strOption names the option in the sentence of a refusal.
Cycle ParseCycle(const std::string& strText, const std::string& strOption = "--cycle");

}  // namespace qrx::cli

#endif
