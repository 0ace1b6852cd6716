// Clients stop at a column whose last row is not the answer's, so none is ever sent.
#include "formula/answer_stream.h"

#include "codec/integer.h"
#include "support/date_time.h"

namespace qrx::server::formula {
namespace {

constexpr int kFirstDate = 19900101;  // where the steps of the dates begin

class StreamWriter {
public:
    void Put32(int n) {
        char bytes[8];
        m_strStream.append(bytes, static_cast<size_t>(compressData32(bytes, n)));
    }
    void Put64(int64_t n) {
        char bytes[8];
        m_strStream.append(bytes, static_cast<size_t>(compressData(n, bytes)));
    }
    void PutText(const std::string& strText) {
        m_strStream += static_cast<char>(strText.size());
        m_strStream += strText;
    }
    std::string Take() { return std::move(m_strStream); }

private:
    std::string m_strStream;
};

}  // namespace

std::string EncodeAnswer(std::span<const ZPMDefine_KData> bars, bool bTimes,
                         std::span<const OutputColumn> columns) {
    StreamWriter writer;
    writer.Put32(static_cast<int>(bars.size()));
    int nLastDate = kFirstDate;
    for (const auto& bar : bars) {
        writer.Put32(bar.nDate - nLastDate);
        nLastDate = bar.nDate;
    }
    nLastDate = kFirstDate;
    int nLastMs = 0;
    for (size_t i = 0; bTimes && i < bars.size(); ++i) {
        const int nMs = BusinessConvertor::HHMMSS2Seconds(bars[i].nTime) * 1000;
        if (bars[i].nDate != nLastDate) nLastMs = 0;
        writer.Put32(nMs - nLastMs);
        nLastMs = nMs;
        nLastDate = bars[i].nDate;
    }
    for (const OutputColumn& column : columns) {
        writer.PutText(column.strName);
        writer.Put32(static_cast<int>(column.nStart));
        writer.Put32(static_cast<int>(bars.size()) - 1);
        int64_t nLast = 0;
        for (size_t i = column.nStart; i < bars.size(); ++i) {
            writer.Put64(column.vecCells[i] - nLast);
            nLast = column.vecCells[i];
        }
    }
    return writer.Take();
}

}  // namespace qrx::server::formula
