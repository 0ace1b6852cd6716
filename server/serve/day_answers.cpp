// Days of ticks, trades and snapshots. The forms that are not stored (day ticks, plain snapshots)
// are derived chunk by chunk; none of them is longer than what it is derived from, so packets keep
// within their bound.
#include "serve/answer_parts.h"
#include "store/day_stream.h"

namespace qrx::server {
namespace {

using Rewrite = std::string (*)(const std::string& strStream, int nItems);

// One stored day, chunk by chunk, each of them a packet.
template <class Head>
class DayAnswer final : public Answer {
public:
    DayAnswer(Store& store, DayAnswerForm form, std::vector<ChunkRef> vecChunks,
              Rewrite pfnRewrite = nullptr)
        : m_store(store),
          m_form(std::move(form)),
          m_vecChunks(std::move(vecChunks)),
          m_pfnRewrite(pfnRewrite) {}

    bool Next(std::string& strPacket) override {
        if (m_nNext > 0 && m_nNext >= m_vecChunks.size()) return false;
        std::string strStream;
        ChunkRef chunk{0, m_form.nDate, 0};
        if (!m_vecChunks.empty()) {
            chunk = m_vecChunks[m_nNext];
            if (!m_store.ReadChunk(chunk.nId, strStream)) {
                throw StoreError("a day was replaced while it was being sent");
            }
            if (m_pfnRewrite != nullptr) strStream = m_pfnRewrite(strStream, chunk.nItems);
        }
        ++m_nNext;
        const Head head =
            MakeHead<Head>(m_form, chunk.nDate, chunk.nItems, m_nNext >= m_vecChunks.size());
        strPacket = MakePacket(m_form.nType, m_form.nRequestID, &head, sizeof head, strStream);
        return true;
    }

private:
    Store& m_store;
    DayAnswerForm m_form;
    std::vector<ChunkRef> m_vecChunks;
    Rewrite m_pfnRewrite;
    size_t m_nNext = 0;
};

// Members of the two tick records that the day forms share with them, whichever they have.
template <class To, class From>
To ConvertRecord(const From& from) {
    To to{};
#define SHARE(member)                                       \
    if constexpr (requires {                                \
                      to.member;                            \
                      from.member;                          \
                  }) {                                      \
        memcpy(&to.member, &from.member, sizeof to.member); \
    }
    SHARE(nTime)
    SHARE(nPrice)
    SHARE(iVolume)
    SHARE(iTurnover)
    SHARE(nTickField1)
    SHARE(nTickField2)
    SHARE(chTickFlag1)
    SHARE(chTickFlag2)
    SHARE(iAccVolume)
    SHARE(iAccTurnover)
    SHARE(nBook1)
    SHARE(nBook2)
    SHARE(nBook3)
    SHARE(nBook4)
    SHARE(nABField1)
    SHARE(nABField2)
    SHARE(iABField3)
    SHARE(iABField4)
    SHARE(nExt)
    SHARE(nIndexField)
#undef SHARE
    return to;
}

template <class From, class To, To (*pfnConvert)(const From&)>
std::string RewriteStream(const std::string& strStream, int nItems) {
    std::string strOut;
    for (const From& record : DecodeChunk<From>(strStream, nItems)) {
        codec::EncodeRecord(pfnConvert(record), strOut);
    }
    return strOut;
}

template <class From, class To>
constexpr Rewrite kToDayForm = RewriteStream<From, To, ConvertRecord<To, From>>;

// The chunks of a day, none when the user may not see the market.
std::vector<ChunkRef> OpenDay(const Request& request, DayKind kind, const DayAnswerForm& form) {
    if (!IsOpenTo(request.user, form.strMarket)) return {};
    return request.store.ListDay(kind, {form.strMarket, form.strCode, form.nDate});
}

template <class Body>
std::unique_ptr<Answer> Snapshots(const Request& request, bool bLevels) {
    const auto body = ReadBody<Body>(request);
    DayAnswerForm form{bLevels ? ID_ZPMTELE_FUTURE_AB : ID_ZPMTELE_FUTURE, request.nId,
                       FieldText(body.chCode), FieldText(body.chMarket), body.nDate};
    auto vecChunks = OpenDay(request, DayKind::Snapshot, form);
    form.reference = request.store.GetDayReference({form.strMarket, form.strCode, form.nDate});
    const Rewrite pfnPlain =
        RewriteStream<ZPMDefine_Future_AB_Night, ZPMDefine_Future_Night, WithoutLevels>;
    return std::make_unique<DayAnswer<ZPMDefine_Future_Head>>(
        request.store, form, std::move(vecChunks), bLevels ? nullptr : pfnPlain);
}

}  // namespace

std::unique_ptr<Answer> AnswerTicks(const Request& request) {
    const auto body = ReadBody<ZPMDefine_RequestTickData>(request);
    DayAnswerForm form{ID_ZPMTELE_TICK_NIGHT,    request.nId, FieldText(body.chCode),
                       FieldText(body.chMarket), body.nDate,  body.nFlags};
    const bool bLevels = (body.nFlags & 1) != 0;
    DayKind kind = bLevels ? DayKind::TickLevels : DayKind::Tick;
    Rewrite pfnRewrite = nullptr;
    if (request.nType == ID_ZPMTELE_REQ_TICK) {
        const auto code = request.store.FindCode(form.strMarket, form.strCode);
        if (code && code->nType < 16) {
            form.nType = ID_ZPMTELE_TICKKDATA_INDEX_ACC_EX;
            kind = DayKind::Tick;
            pfnRewrite = kToDayForm<ZPMDefine_Tick_Night, ZPMDefine_TickData_Index_ACC_EX>;
        } else if (bLevels) {
            form.nType = ID_ZPMTELE_TICKKDATA_AB_ACC_EX;
            pfnRewrite = kToDayForm<ZPMDefine_Tick_AB_Night, ZPMDefine_TickData_AB_ACC_EX>;
        } else {
            form.nType = ID_ZPMTELE_TICKKDATA_ACC_EX;
            pfnRewrite = kToDayForm<ZPMDefine_Tick_Night, ZPMDefine_TickData_ACC_EX>;
        }
    }
    auto vecChunks = OpenDay(request, kind, form);
    return std::make_unique<DayAnswer<ZPMDefine_TickData_Head>>(request.store, form,
                                                                std::move(vecChunks), pfnRewrite);
}

std::unique_ptr<Answer> AnswerTrades(const Request& request) {
    static constexpr struct {
        DayKind kind;
        int nAnswer;
    } kKinds[] = {{DayKind::Transaction, ID_ZPMTELE_TRANSACTION_V2},
                  {DayKind::OrderQueue, ID_ZPMTELE_ORDERQUEUE_V2},
                  {DayKind::Order, ID_ZPMTELE_ORDER_V2}};
    const auto body = ReadBody<ZPMDefine_RequestSaveData>(request);
    if (body.nDataKind < 0 || body.nDataKind > 2) {
        throw ProtocolError("unknown kind of data " + std::to_string(body.nDataKind));
    }
    const auto& row = kKinds[body.nDataKind];
    DayAnswerForm form{row.nAnswer, request.nId, FieldText(body.chCode), FieldText(body.chMarket),
                       body.nDate};
    auto vecChunks = OpenDay(request, row.kind, form);
    return std::make_unique<DayAnswer<ZPMDefine_SaveData_Head>>(request.store, form,
                                                                std::move(vecChunks));
}

std::unique_ptr<Answer> AnswerFutures(const Request& request) {
    return Snapshots<ZPMDefine_RequestFuture>(request, request.nType == ID_ZPMTELE_REQ_FUTURE_AB);
}

std::unique_ptr<Answer> AnswerOptions(const Request& request) {
    return Snapshots<ZPMDefine_RequestOption>(request, request.nType == ID_ZPMTELE_REQ_OPTION_AB);
}

}  // namespace qrx::server
