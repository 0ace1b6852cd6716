// See the header.
#include "output/results.h"

#include <algorithm>

#include "app/failure.h"
#include "text/nearest.h"
#include "text/words.h"

namespace qrx::cli {
namespace {

// The places of the named columns, or of all. Throws for an unknown one.
std::vector<size_t> PlacesOf(const std::string& strNames, const Shape& shape) {
    std::vector<std::string> vecKnown;
    for (const Column& column : shape.vecColumns) vecKnown.push_back(column.strName);
    std::vector<size_t> vecPlaces;
    for (const std::string& strName : Split(strNames, ',')) {
        const auto it = std::find(vecKnown.begin(), vecKnown.end(), strName);
        if (it == vecKnown.end()) {
            std::string strAll;
            for (const std::string& strKnown : vecKnown) strAll += " " + strKnown;
            RefuseUsage("--columns: there is no column \"" + strName + "\"; the nearest is \"" +
                        Nearest(strName, vecKnown) + "\" of" + strAll);
        }
        vecPlaces.push_back(static_cast<size_t>(it - vecKnown.begin()));
    }
    for (size_t i = 0; vecPlaces.size() < vecKnown.size() && strNames.empty(); ++i) {
        vecPlaces.push_back(i);
    }
    return vecPlaces;
}

}  // namespace

void CheckColumns(const std::string& strNames, const Shape& shape) {
    PlacesOf(strNames, shape);
}

Results::Results(OutputChoice choice, Shape shape)
    : m_choice(std::move(choice)), m_shape(std::move(shape)) {
    Select();
    if (ToDatabase()) {
        m_pOwn = std::make_unique<Database>(m_choice.strFile, Database::Creation::Beside);
        m_pDatabase = m_pOwn.get();
        if (m_choice.nLimit != INT64_MAX && m_pOwn->HasTable(m_shape.strTable)) {
            RefuseUsage(
                "--limit would put some rows in the place of all that the table \"" +
                m_shape.strTable + "\" of " + m_choice.strFile +
                " may hold; leave it out, take --begin and --end, or write to another file");
        }
    } else {
        m_pSink = std::make_unique<Sink>(m_choice.strFile);
    }
}

Results::Results(OutputChoice choice, Shape shape, Database& database)
    : m_choice(std::move(choice)), m_shape(std::move(shape)), m_pDatabase(&database) {
    Select();
}

void Results::Select() {
    const std::vector<size_t> vecKeys = KeyColumns(m_shape.vecColumns);
    if (ToDatabase() && !m_choice.strColumns.empty()) m_vecSelected = vecKeys;
    const std::vector<size_t> vecGiven = m_vecSelected;
    for (const size_t i : PlacesOf(m_choice.strColumns, m_shape)) {
        const bool bGiven = std::find(vecGiven.begin(), vecGiven.end(), i) != vecGiven.end();
        if (!bGiven) m_vecSelected.push_back(i);
    }
    for (const size_t i : m_vecSelected) m_vecColumns.push_back(m_shape.vecColumns[i]);
    m_vecCells.resize(m_vecSelected.size());
    if (m_choice.zone && m_shape.bInstants && vecKeys.size() == 3) {
        m_vecStamp = {vecKeys[1], vecKeys[2]};
        m_vecAll.resize(m_shape.vecColumns.size());
    }
}

void Results::AskedFor(const std::string& strCode, const DayRange& range) {
    constexpr int kEndOfDate = 235959999;
    m_asked = {strCode, {range.nFrom, 0}, {range.nTo, kEndOfDate}};
    if (!m_shape.bInstants || KeyColumns(m_shape.vecColumns).size() < 3) return;
    const auto moments = MomentsOf(range);
    if (!moments) return m_asked.reset();
    m_asked->first = {moments->first.first, moments->first.second};
    m_asked->last = {moments->last.first, moments->last.second};
    if (m_vecStamp.empty()) return;
    m_choice.zone->Shift(m_asked->first[0], m_asked->first[1]);
    m_choice.zone->Shift(m_asked->last[0], m_asked->last[1]);
}

void Results::OpenTable() {
    m_pWriter = MakeSqliteWriter(*m_pDatabase, m_shape.strTable, m_vecColumns, m_choice.style,
                                 m_vecStamp.empty() ? "" : m_choice.zone->Name(), m_asked);
}

void Results::WriteRow() {
    if (!m_pWriter && ToDatabase()) {
        OpenTable();
    } else if (!m_pWriter) {
        m_pWriter = MakeTextWriter(m_choice.strFormat, *m_pSink, m_vecColumns, m_choice.style);
    }
    m_pWriter->Row(m_vecCells);
    ++m_nRows;
}

// The row in m_vecAll, with its time in the zone.
void Results::Shift() {
    m_choice.zone->Shift(m_vecAll[m_vecStamp[0]].nValue, m_vecAll[m_vecStamp[1]].nValue);
    for (size_t i = 0; i < m_vecSelected.size(); ++i) m_vecCells[i] = m_vecAll[m_vecSelected[i]];
}

void Results::Row(std::span<const Cell> cells) {
    if (Full()) return;
    if (m_vecStamp.empty()) {
        for (size_t i = 0; i < m_vecSelected.size(); ++i) m_vecCells[i] = cells[m_vecSelected[i]];
    } else {
        std::copy(cells.begin(), cells.end(), m_vecAll.begin());
        Shift();
    }
    WriteRow();
}

void Results::Records(const std::vector<RecordColumn>& vecColumns, const void* pRecords,
                      size_t nCount, size_t nRecordBytes) {
    const char* pRecord = static_cast<const char*>(pRecords);
    for (size_t n = 0; n < nCount && !Full(); ++n, pRecord += nRecordBytes) {
        if (m_vecStamp.empty()) {
            for (size_t i = 0; i < m_vecSelected.size(); ++i) {
                m_vecCells[i] = LoadCell(vecColumns[m_vecSelected[i]], pRecord);
            }
        } else {
            for (const size_t i : m_vecSelected) m_vecAll[i] = LoadCell(vecColumns[i], pRecord);
            for (const size_t i : m_vecStamp) m_vecAll[i] = LoadCell(vecColumns[i], pRecord);
            Shift();
        }
        WriteRow();
    }
}

void Results::Flush() {
    if (m_pSink) m_pSink->Flush();
}

void Results::Finish() {
    // Without a row, former ones may have to go.
    if (!m_pWriter && m_asked && ToDatabase() && m_pDatabase->HasTable(m_shape.strTable)) {
        OpenTable();
    }
    if (m_pWriter) m_pWriter->End();
    if (m_pOwn) m_pOwn->Commit();
    if (m_pSink) m_pSink->Finish();
}

}  // namespace qrx::cli
