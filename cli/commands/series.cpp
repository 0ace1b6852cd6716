// See the header.
#include "commands/series.h"

#include "app/failure.h"
#include "app/interrupt.h"

namespace qrx::cli {

Series::Series(Context& context, const char* szWhat, const std::vector<RecordColumn>& vecColumns)
    : m_context(context),
      m_szWhat(szWhat),
      m_vecColumns(vecColumns),
      m_range(ReadDayRange(context.Args())),
      m_vecDays(Weekdays(m_range.nFrom, m_range.nTo)),
      m_pResults(context.OpenResults({vecColumns.begin(), vecColumns.end()})),
      m_code(context.Connect().FindCode(context.Args().Get("CODE"))) {
    m_progress.emplace(static_cast<int>(m_vecDays.size()));
}

std::optional<Series::Day> Series::Next() {
    if (m_nNext >= m_vecDays.size() || m_pResults->Full()) return std::nullopt;
    const int nDate = m_vecDays[m_nNext++];
    return Day{nDate, nDate == m_range.nFrom ? m_range.nBegin : 0,
               nDate == m_range.nTo ? m_range.nEnd : 0};
}

void Series::Take(ResultCode code, const void* pRecords, size_t nCount, size_t nRecordBytes) {
    interrupt::Check();
    if (code != ResultCode::NoData) m_context.Connect().Check(code, What());
    {
        const auto pause = m_progress->Pause();
        m_pResults->Records(m_vecColumns, pRecords, nCount, nRecordBytes);
        m_pResults->Out().Flush();
    }
    m_progress->StepDone(m_pResults->Rows());
}

void Series::Finish() {
    m_progress.reset();
    if (m_pResults->Rows() == 0) throw Failure(EXIT_NO_DATA, "there are no " + What());
    m_pResults->Finish();
}

std::string Series::What() const {
    return m_szWhat + std::string(" of ") + std::string(FieldView(m_code.szVelaCode)) + " " +
           m_range.Text();
}

}  // namespace qrx::cli
