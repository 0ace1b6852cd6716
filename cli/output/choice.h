// How the rows shall be written: what the output options and the settings say.
#ifndef QRX_CLI_OUTPUT_CHOICE_H
#define QRX_CLI_OUTPUT_CHOICE_H

#include <cstdint>
#include <optional>
#include <string>

#include "app/arguments.h"
#include "output/cell.h"
#include "output/zone.h"

namespace qrx::cli {

struct OutputChoice {
    std::string strFormat;   // table, csv, jsonl or sqlite
    std::string strFile;     // "": the standard output
    std::string strColumns;  // "": all
    CellStyle style;
    std::optional<Zone> zone;  // nothing: the exchange's
    int64_t nLimit = INT64_MAX;
};

// Throws Failure(EXIT_USAGE).
OutputChoice ReadOutputChoice(const Arguments& arguments, int nPriceDigits);

}  // namespace qrx::cli

#endif
