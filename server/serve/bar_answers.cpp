// Bars, made as they are sent.
#include "serve/answer_parts.h"
#include "serve/bars.h"
#include "store/day_stream.h"

namespace qrx::server {
namespace {

template <class Head, class Record>
class BarAnswer final : public Answer {
public:
    BarAnswer(DayAnswerForm form, std::unique_ptr<BarSource> pSource)
        : m_form(std::move(form)), m_pSource(std::move(pSource)) {}

    bool Next(std::string& strPacket) override {
        if (m_bDone) return false;
        std::string strStream;
        std::string strRecord;
        int nItems = 0;
        while (NextBar()) {
            strRecord.clear();
            // What was summed up beyond every encoding is left out rather than sent wrong.
            if (codec::EncodeRecord(ToRecord(m_vecBars[m_nNext]), strRecord)) {
                if (strStream.size() + strRecord.size() > kStreamBytes) break;
                strStream += strRecord;
                ++nItems;
            }
            ++m_nNext;
        }
        m_bDone = !NextBar();
        const Head head = MakeHead<Head>(m_form, 0, nItems, m_bDone);
        strPacket = MakePacket(m_form.nType, m_form.nRequestID, &head, sizeof head, strStream);
        return true;
    }

private:
    bool NextBar() {
        while (m_pSource && m_nNext >= m_vecBars.size()) {
            m_nNext = 0;
            if (!m_pSource->Next(m_vecBars)) m_pSource.reset();
        }
        return m_nNext < m_vecBars.size();
    }
    static Record ToRecord(const ZPMDefine_KData& bar) {
        if constexpr (std::is_same_v<Record, ZPMDefine_KData>) {
            return bar;
        } else {
            return {bar.nDate,  bar.nTime,   bar.nOpen,     bar.nHigh,       bar.nLow,
                    bar.nClose, bar.iVolume, bar.iTurnover, bar.nMatchItems, {}};
        }
    }

    DayAnswerForm m_form;
    std::unique_ptr<BarSource> m_pSource;  // null: there are no bars, or no more
    std::vector<ZPMDefine_KData> m_vecBars;
    size_t m_nNext = 0;
    bool m_bDone = false;
};

template <class Body>
std::unique_ptr<BarSource> Open(const Request& request, const DayAnswerForm& form,
                                const Body& body) {
    return OpenBars(request,
                    {form.strMarket, form.strCode, body.nCycType, body.nCycDef, body.nBeginDate,
                     body.nEndDate, body.nModeFlag, body.nModeDate, body.nModeSwitch != 0});
}

}  // namespace

std::unique_ptr<BarSource> OpenBars(const Request& request, BarRequest bars) {
    if (!IsBarCycle(bars.nCycle)) {
        throw ProtocolError("unknown cycle " + std::to_string(bars.nCycle));
    }
    const auto code = request.store.FindCode(bars.strMarket, bars.strCode);
    if (!code || !IsOpenTo(request.user, bars.strMarket)) return nullptr;
    bars.strCode = code->strCode;
    bars.nMultiple = std::max(bars.nMultiple, 1);
    if (bars.nEndDay <= 0) bars.nEndDay = kNoLastDay;
    const bool bSnapshots =
        (code->nType >= 112 && code->nType <= 125) || (code->nType & 0xF0) == 0x90;
    return std::make_unique<BarSource>(request.store, std::move(bars), bSnapshots);
}

std::unique_ptr<Answer> AnswerBars(const Request& request) {
    const auto body = ReadBody<ZPMDefine_RequestKData>(request);
    DayAnswerForm form{ID_ZPMTELE_DAYKDATA, request.nId, FieldText(body.chCode),
                       FieldText(body.chMarket)};
    auto pSource = Open(request, form, body);
    const auto code = request.store.FindCode(form.strMarket, form.strCode);
    if (code && code->nType < 16) {
        form.nType = ID_ZPMTELE_DAYKDATA_INDEX;
        return std::make_unique<BarAnswer<ZPMDefine_KData_Head, ZPMDefine_KData_Index>>(
            form, std::move(pSource));
    }
    return std::make_unique<BarAnswer<ZPMDefine_KData_Head, ZPMDefine_KData>>(form,
                                                                              std::move(pSource));
}

std::unique_ptr<Answer> AnswerOptionBars(const Request& request) {
    const auto body = ReadBody<ZPMDefine_RequestKData_Option>(request);
    DayAnswerForm form{ID_ZPMTELE_DAYKDATA_OPTION, request.nId, FieldText(body.chCode),
                       FieldText(body.chMarket)};
    auto pSource = Open(request, form, body);
    return std::make_unique<BarAnswer<ZPMDefine_KData_Option_Head, ZPMDefine_KData>>(
        form, std::move(pSource));
}

}  // namespace qrx::server
