// See the header.
#include "commands/series.h"

#include "app/failure.h"
#include "app/interrupt.h"

namespace qrx::cli {

Series::Series(Context& context, const RecordKind& kind)
    : m_context(context),
      m_kind(kind),
      m_range(ReadDayRange(context.Args())),
      m_vecDays(Weekdays(m_range.nFrom, m_range.nTo)),
      m_pResults(context.OpenResults(kind.GetShape())),
      m_code(context.Connect().FindCode(context.Args().Get("CODE"))) {
    m_pResults->AskedFor(std::string(FieldView(m_code.szVelaCode)), m_range);
    m_progress.emplace(static_cast<int>(m_vecDays.size()), "days");
}

std::optional<Slice> Series::Next() {
    if (m_nNext >= m_vecDays.size() || m_pResults->Full()) return std::nullopt;
    const int nDate = m_vecDays[m_nNext++];
    return Slice{nDate, nDate, nDate == m_range.nFrom ? m_range.nBegin : 0,
                 nDate == m_range.nTo ? m_range.nEnd : 0};
}

void Series::Take(const Fetched& fetched) {
    interrupt::Check();
    if (fetched.code == ResultCode::WrongType) RefuseType(m_code, m_kind.szPlural);
    if (fetched.code != ResultCode::NoData) m_context.Connect().Check(fetched.code, What());
    {
        const auto pause = m_progress->Pause();
        m_pResults->Records(*m_kind.pColumns, fetched.pRecords, fetched.nCount,
                            m_kind.nRecordBytes);
        m_pResults->Flush();
    }
    m_progress->Done(m_pResults->Rows());
}

void Series::Finish() {
    m_progress.reset();
    if (m_pResults->Rows() == 0) throw Failure(EXIT_NO_DATA, "there are no " + What());
    m_pResults->Finish();
}

std::string Series::What() const {
    return m_kind.szPlural + std::string(" of ") + std::string(FieldView(m_code.szVelaCode)) + " " +
           m_range.Text();
}

void RunSeries(Context& context, const RecordKind& kind) {
    Series series(context, kind);
    while (const auto day = series.Next()) {
        series.Take(kind.fetch(context.Connect().Get(), series.Code(), *day));
    }
    series.Finish();
}

}  // namespace qrx::cli
