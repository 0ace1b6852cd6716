// See the header.
#include "output/results.h"

#include <algorithm>
#include <charconv>
#include <sstream>

#include "app/failure.h"
#include "text/nearest.h"

namespace qrx::cli {
namespace {

std::string FormatOf(const Arguments& arguments) {
    if (arguments.Has("--format")) return arguments.Get("--format");
    const std::string strFile = arguments.Get("--output");
    for (const char* szFormat : {"csv", "jsonl"}) {
        if (strFile.ends_with(std::string(".") + szFormat)) return szFormat;
    }
    return "table";
}

int64_t ParseLimit(const std::string& strText) {
    int64_t nLimit = 0;
    const char* pEnd = strText.data() + strText.size();
    const auto [p, error] = std::from_chars(strText.data(), pEnd, nLimit);
    if (error != std::errc() || p != pEnd || nLimit < 1) {
        RefuseUsage("--limit: \"" + strText + "\" is no number of rows, such as 100");
    }
    return nLimit;
}

}  // namespace

Results::Results(const Arguments& arguments, int nPriceDigits, std::vector<Column> vecColumns)
    : m_sink(arguments.Get("--output")), m_strFormat(FormatOf(arguments)) {
    m_style.bRaw = arguments.Has("--raw");
    m_style.nPriceDigits = nPriceDigits;
    if (arguments.Has("--limit")) m_nLimit = ParseLimit(arguments.Get("--limit"));
    Select(arguments.Get("--columns"), vecColumns);
    m_vecCells.resize(m_vecSelected.size());
}

void Results::Select(const std::string& strNames, const std::vector<Column>& vecColumns) {
    std::vector<std::string> vecKnown;
    for (const Column& column : vecColumns) vecKnown.push_back(column.strName);
    std::istringstream names(strNames);
    for (std::string strName; std::getline(names, strName, ',');) {
        const auto it = std::find(vecKnown.begin(), vecKnown.end(), strName);
        if (it == vecKnown.end()) {
            std::string strAll;
            for (const std::string& strKnown : vecKnown) strAll += " " + strKnown;
            RefuseUsage("--columns: there is no column \"" + strName + "\"; the nearest is \"" +
                        Nearest(strName, vecKnown) + "\" of" + strAll);
        }
        m_vecSelected.push_back(static_cast<size_t>(it - vecKnown.begin()));
    }
    if (m_vecSelected.empty()) {
        for (size_t i = 0; i < vecColumns.size(); ++i) m_vecSelected.push_back(i);
    }
    for (const size_t i : m_vecSelected) m_vecColumns.push_back(vecColumns[i]);
}

void Results::WriteRow() {
    if (!m_pWriter) m_pWriter = MakeWriter(m_strFormat, m_sink, m_vecColumns, m_style);
    m_pWriter->Row(m_vecCells);
    ++m_nRows;
}

void Results::Row(std::span<const Cell> cells) {
    if (Full()) return;
    for (size_t i = 0; i < m_vecSelected.size(); ++i) m_vecCells[i] = cells[m_vecSelected[i]];
    WriteRow();
}

void Results::Records(const std::vector<RecordColumn>& vecColumns, const void* pRecords,
                      size_t nCount, size_t nRecordBytes) {
    const char* pRecord = static_cast<const char*>(pRecords);
    for (size_t n = 0; n < nCount && !Full(); ++n, pRecord += nRecordBytes) {
        for (size_t i = 0; i < m_vecSelected.size(); ++i) {
            m_vecCells[i] = LoadCell(vecColumns[m_vecSelected[i]], pRecord);
        }
        WriteRow();
    }
}

void Results::Finish() {
    if (m_pWriter) m_pWriter->End();
    m_sink.Finish();
}

}  // namespace qrx::cli
