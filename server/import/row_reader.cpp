// The columns that every row has: security, date and time.
#include "import/row_reader.h"

#include <algorithm>
#include <limits>

#include "text/encoding.h"

namespace qrx::server {

Columns ReadHeader(LineReader& lines, const ImportOptions& options,
                   std::vector<std::string> vecColumns) {
    for (const char* sz :
         {"market", "code", "date", "time", "datetime", "trading_day", "millisecond"}) {
        vecColumns.emplace_back(sz);
    }
    std::string_view strLine;
    if (!lines.Next(strLine)) throw ImportError(1, "the file is empty");
    const auto strHeader = ToUtf8(strLine, options.strEncoding);
    if (!strHeader)
        throw ImportError(1, "text is not " + options.strEncoding + " (see --encoding)");
    return Columns(*strHeader, options.vecMap, options.vecSet, vecColumns);
}

void SplitCode(const std::string& strCode, const std::string& strMarket, RowStamp& stamp) {
    const size_t nDot = strCode.rfind('.');
    stamp.strCode = strCode.substr(0, nDot);
    stamp.strMarket = !strMarket.empty()          ? strMarket
                      : nDot != std::string::npos ? strCode.substr(nDot + 1)
                                                  : std::string();
    std::transform(stamp.strMarket.begin(), stamp.strMarket.end(), stamp.strMarket.begin(),
                   [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; });
}

RowReader::RowReader(LineReader& lines, const ImportOptions& options,
                     const std::vector<std::string>& vecColumns, bool bNeedsTime)
    : m_lines(lines),
      m_options(options),
      m_columns(ReadHeader(lines, options, vecColumns)),
      m_nMarket(m_columns.Find("market")),
      m_nCode(m_columns.Find("code")),
      m_nDate(m_columns.Find("date")),
      m_nTime(m_columns.Find("time")),
      m_nDateTime(m_columns.Find("datetime")),
      m_nDay(m_columns.Find("trading_day")),
      m_nMillisecond(m_columns.Find("millisecond")) {
    m_columns.Require("code");
    if (m_nDateTime < 0) {
        m_columns.Require("date");
        if (bNeedsTime) m_columns.Require("time");
    }
}

RowReader::RowReader(const RowReader& other, LineReader& lines)
    : m_lines(lines),
      m_options(other.m_options),
      m_columns(other.m_columns),
      m_nMarket(other.m_nMarket),
      m_nCode(other.m_nCode),
      m_nDate(other.m_nDate),
      m_nTime(other.m_nTime),
      m_nDateTime(other.m_nDateTime),
      m_nDay(other.m_nDay),
      m_nMillisecond(other.m_nMillisecond) {}

void RowReader::Refuse(const std::string& strText) const {
    throw ImportError(m_lines.Line(), strText);
}

std::string RowReader::Text(int nColumn) const {
    const auto strText = ToUtf8(m_columns[nColumn], m_options.strEncoding);
    if (!strText) Refuse("text is not " + m_options.strEncoding + " (see --encoding)");
    return *strText;
}

bool RowReader::Next() {
    std::string_view strLine;
    do {
        if (!m_lines.Next(strLine)) return false;
    } while (strLine.empty());
    m_columns.Split(strLine, m_lines.Line());
    return true;
}

void RowReader::ReadStamp(RowStamp& stamp) const {
    const std::string_view strMarket = m_nMarket < 0 ? std::string_view() : m_columns[m_nMarket];
    if (m_columns[m_nCode] != stamp.strCodeText || strMarket != stamp.strMarketText) {
        stamp.strCodeText = m_columns[m_nCode];
        stamp.strMarketText = strMarket;
        SplitCode(stamp.strCodeText, stamp.strMarketText, stamp);
    }
    if (stamp.strMarket.empty()) Refuse("no market is given (see --set market=...)");
    const auto bad = [&](const char* szWhat, int nColumn) {
        Refuse(std::string("bad ") + szWhat + " \"" + std::string(m_columns[nColumn]) + "\"");
    };
    if (m_nDateTime >= 0) {
        if (!ParseDateTime(m_columns[m_nDateTime], m_options.timeForm, stamp.nDate, stamp.nTime)) {
            bad("date and time", m_nDateTime);
        }
    } else {
        if (stamp.strDateText.empty() || m_columns[m_nDate] != stamp.strDateText) {
            const auto nDate = ParseDate(m_columns[m_nDate]);
            if (!nDate) bad("date", m_nDate);
            stamp.nDate = *nDate;
            stamp.strDateText = m_columns[m_nDate];
        }
        const auto nTime =
            m_nTime < 0 ? std::optional<int>(0) : ParseTime(m_columns[m_nTime], m_options.timeForm);
        if (!nTime) bad("time", m_nTime);
        stamp.nTime = *nTime;
    }
    if (m_nMillisecond >= 0) {
        const auto nMs = ParseDecimal(m_columns[m_nMillisecond], 0);
        if (!nMs || *nMs < 0 || *nMs > 999) bad("millisecond", m_nMillisecond);
        stamp.nTime = stamp.nTime / 1000 * 1000 + static_cast<int>(*nMs);
    }
    stamp.nDay = 0;
    if (m_nDay >= 0) {
        const auto nDay = ParseDate(m_columns[m_nDay]);
        if (!nDay) bad("trading day", m_nDay);
        stamp.nDay = *nDay;
    }
}

BoundField RowReader::Bind(const Field& field, int nColumn) const {
    BoundField bound{field, nColumn, 0, std::numeric_limits<int32_t>::max()};
    if (field.nWidth == 8) bound.nMost = kMostSent;
    switch (field.kind) {
        case FieldKind::Price:
            bound.nShift = 4 + m_options.nPriceShift;
            break;
        case FieldKind::Amount:
            bound.nShift = 4 + m_options.nTurnoverShift;
            break;
        case FieldKind::Volume:
            bound.nShift = m_options.nVolumeShift;
            break;
        default:
            break;
    }
    return bound;
}

int64_t RowReader::UnusualValue(const BoundField& bound) const {
    const std::string_view strText = m_columns[bound.nColumn];
    const Field& field = bound.field;
    std::optional<int64_t> value;
    if (field.kind == FieldKind::Flag) {
        value = ParseFlag(strText);
    } else {
        value = ParseDecimal(strText, bound.nShift);
    }
    if (!value) {
        Refuse("bad value \"" + std::string(strText) + "\" in column " + field.strColumn);
    }
    if (*value > bound.nMost || *value < (field.kind == FieldKind::Price ? -bound.nMost : 0)) {
        Refuse("value " + std::string(strText) + " in column " + field.strColumn +
               (*value < 0 ? " is negative" : " is too large"));
    }
    return *value;
}

}  // namespace qrx::server
