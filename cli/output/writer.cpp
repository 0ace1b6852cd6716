// See the header.
#include "output/writer.h"

namespace qrx::cli {

std::unique_ptr<Writer> MakeTextWriter(const std::string& strFormat, Sink& sink,
                                       std::vector<Column> vecColumns, CellStyle style) {
    if (strFormat == "csv") return MakeCsvWriter(sink, std::move(vecColumns), style);
    if (strFormat == "jsonl") return MakeJsonWriter(sink, std::move(vecColumns), style);
    return MakeTableWriter(sink, std::move(vecColumns), style);
}

}  // namespace qrx::cli
