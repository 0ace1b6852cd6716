// Requests by type: the length that their body must have, and the answer that is made from the
// store. The forms that are not stored (day ticks, plain snapshots) are derived chunk by chunk;
// none of them is longer than what it is derived from, so packets keep within their bound.
#include "serve/answers.h"

#include <algorithm>
#include <cstring>

#include "serve/bars.h"
#include "store/day_stream.h"
#include "support/strings.h"
#include "text/encoding.h"

namespace qrx::server {
namespace {

struct RequestForm {
    int nType;
    int nBytes;
};
constexpr RequestForm kRequests[] = {
    {ID_ZPMTELE_LOGIN, sizeof(ZPMDefine_Login)},
    {ID_ZPMTELE_REQ_CODETABLE, sizeof(ZPMDefine_RequestCodeTable)},
    {ID_ZPMTELE_REQ_TICK, sizeof(ZPMDefine_RequestTickData)},
    {ID_ZPMTELE_REQ_TICK_NIGHT, sizeof(ZPMDefine_RequestTickData)},
    {ID_ZPMTELE_REQ_SAVEDATA, sizeof(ZPMDefine_RequestSaveData)},
    {ID_ZPMTELE_REQ_FUTURE, sizeof(ZPMDefine_RequestFuture)},
    {ID_ZPMTELE_REQ_FUTURE_AB, sizeof(ZPMDefine_RequestFuture)},
    {ID_ZPMTELE_REQ_OPTION, sizeof(ZPMDefine_RequestOption)},
    {ID_ZPMTELE_REQ_OPTION_AB, sizeof(ZPMDefine_RequestOption)},
    {ID_ZPMTELE_REQ_KDATA, sizeof(ZPMDefine_RequestKData)},
    {ID_ZPMTELE_REQ_KDATA_OPTION, sizeof(ZPMDefine_RequestKData_Option)},
};

template <class Request>
Request ReadRequest(const std::string& strBody) {
    if (strBody.size() != sizeof(Request)) throw ProtocolError("request of a wrong length");
    Request request;
    memcpy(&request, strBody.data(), sizeof request);
    return request;
}

bool IsOpenTo(const UserRow& user, const std::string& strMarket) {
    return std::any_of(user.vecMarkets.begin(), user.vecMarkets.end(), [&](const auto& str) {
        return CompareNoCase(str.c_str(), strMarket.c_str()) == 0;
    });
}

// What every packet of one answer says about itself.
struct DayAnswerForm {
    int nType;
    int nRequestID;
    std::string strCode;
    std::string strMarket;
    int nDate = 0;  // asked for; shown when there is no chunk to take it from
    int nFlags = 0;
    DayReference reference = {};
};

template <class Head>
Head MakeHead(const DayAnswerForm& form, int nDate, int nItems, bool bLast) {
    Head head{};
    head.nItems = nItems;
    head.nLastPacket = bLast ? 1 : 0;
    if constexpr (requires { head.chCode; }) {
        FillField(head.chCode, form.strCode.c_str(), sizeof head.chCode);
        FillField(head.chMarket, form.strMarket.c_str(), sizeof head.chMarket);
    }
    if constexpr (requires { head.nDate; }) {
        head.nFlags = form.nFlags;
        head.nDate = nDate;
    }
    if constexpr (requires { head.nDayRef1; }) {
        head.nDayRef1 = form.reference.nPrevSettle;
        head.nDayRef2 = form.reference.nPrevClose;
        head.nDayRef3 = form.reference.nPrevOpenInterest;
    }
    return head;
}

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

// A packet that is complete already.
class OnePacket final : public Answer {
public:
    explicit OnePacket(std::string strPacket) : m_strPacket(std::move(strPacket)) {}
    bool Next(std::string& strPacket) override {
        strPacket = std::move(m_strPacket);
        return !std::exchange(m_bSent, true);
    }

private:
    std::string m_strPacket;
    bool m_bSent = false;
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

std::unique_ptr<Answer> CodeTable(Store& store, const UserRow& user, int nRequestID,
                                  const std::string& strBody) {
    const auto request = ReadRequest<ZPMDefine_RequestCodeTable>(strBody);
    const std::string strMarket = FieldText(request.chMarket);
    std::vector<CodeRow> vecCodes;
    if (IsOpenTo(user, strMarket)) vecCodes = store.Codes(strMarket);
    ZPMDefine_CodeTable_Head head{};
    head.nTotalItems = static_cast<int>(vecCodes.size());
    head.nItemSize = sizeof(ZPMDefine_CodeTable_Item);
    std::string strItems;
    strItems.reserve(vecCodes.size() * sizeof(ZPMDefine_CodeTable_Item));
    for (const auto& row : vecCodes) {
        ZPMDefine_CodeTable_Item item{};
        FillField(item.chCode, row.strCode.c_str(), sizeof item.chCode);
        FillGbkField(item.chName, row.strName);
        item.nType = row.nType;
        strItems.append(reinterpret_cast<const char*>(&item), sizeof item);
    }
    return std::make_unique<OnePacket>(
        MakePacket(ID_ZPMTELE_CODETABLE, nRequestID, &head, sizeof head, strItems));
}

// The chunks of a day, none when the user may not see the market.
std::vector<ChunkRef> OpenDay(Store& store, const UserRow& user, DayKind kind,
                              const DayAnswerForm& form) {
    if (!IsOpenTo(user, form.strMarket)) return {};
    return store.ListDay(kind, {form.strMarket, form.strCode, form.nDate});
}

std::unique_ptr<Answer> Ticks(Store& store, const UserRow& user, int nType, int nRequestID,
                              const std::string& strBody) {
    const auto request = ReadRequest<ZPMDefine_RequestTickData>(strBody);
    DayAnswerForm form{ID_ZPMTELE_TICK_NIGHT,       nRequestID,    FieldText(request.chCode),
                       FieldText(request.chMarket), request.nDate, request.nFlags};
    const bool bLevels = (request.nFlags & 1) != 0;
    DayKind kind = bLevels ? DayKind::TickLevels : DayKind::Tick;
    Rewrite pfnRewrite = nullptr;
    if (nType == ID_ZPMTELE_REQ_TICK) {
        const auto code = store.FindCode(form.strMarket, form.strCode);
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
    auto vecChunks = OpenDay(store, user, kind, form);
    return std::make_unique<DayAnswer<ZPMDefine_TickData_Head>>(store, form, std::move(vecChunks),
                                                                pfnRewrite);
}

std::unique_ptr<Answer> Trades(Store& store, const UserRow& user, int nRequestID,
                               const std::string& strBody) {
    static constexpr struct {
        DayKind kind;
        int nAnswer;
    } kKinds[] = {{DayKind::Transaction, ID_ZPMTELE_TRANSACTION_V2},
                  {DayKind::OrderQueue, ID_ZPMTELE_ORDERQUEUE_V2},
                  {DayKind::Order, ID_ZPMTELE_ORDER_V2}};
    const auto request = ReadRequest<ZPMDefine_RequestSaveData>(strBody);
    if (request.nDataKind < 0 || request.nDataKind > 2) {
        throw ProtocolError("unknown kind of data " + std::to_string(request.nDataKind));
    }
    const auto& row = kKinds[request.nDataKind];
    DayAnswerForm form{row.nAnswer, nRequestID, FieldText(request.chCode),
                       FieldText(request.chMarket), request.nDate};
    auto vecChunks = OpenDay(store, user, row.kind, form);
    return std::make_unique<DayAnswer<ZPMDefine_SaveData_Head>>(store, form, std::move(vecChunks));
}

template <class Request>
std::unique_ptr<Answer> Snapshots(Store& store, const UserRow& user, bool bLevels, int nRequestID,
                                  const std::string& strBody) {
    const auto request = ReadRequest<Request>(strBody);
    DayAnswerForm form{bLevels ? ID_ZPMTELE_FUTURE_AB : ID_ZPMTELE_FUTURE, nRequestID,
                       FieldText(request.chCode), FieldText(request.chMarket), request.nDate};
    auto vecChunks = OpenDay(store, user, DayKind::Snapshot, form);
    form.reference = store.GetDayReference({form.strMarket, form.strCode, form.nDate});
    const Rewrite pfnPlain =
        RewriteStream<ZPMDefine_Future_AB_Night, ZPMDefine_Future_Night, WithoutLevels>;
    return std::make_unique<DayAnswer<ZPMDefine_Future_Head>>(store, form, std::move(vecChunks),
                                                              bLevels ? nullptr : pfnPlain);
}

// Bars are made as they are sent.
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

template <class Request>
std::unique_ptr<Answer> Bars(Store& store, const UserRow& user, int nRequestID,
                             const std::string& strBody) {
    const auto request = ReadRequest<Request>(strBody);
    DayAnswerForm form{ID_ZPMTELE_DAYKDATA, nRequestID, FieldText(request.chCode),
                       FieldText(request.chMarket)};
    if (!IsBarCycle(request.nCycType)) {
        throw ProtocolError("unknown cycle " + std::to_string(request.nCycType));
    }
    const auto code = store.FindCode(form.strMarket, form.strCode);
    std::unique_ptr<BarSource> pSource;
    if (code && IsOpenTo(user, form.strMarket)) {
        const bool bSnapshots =
            (code->nType >= 112 && code->nType <= 125) || (code->nType & 0xF0) == 0x90;
        BarRequest bars{
            form.strMarket,          code->strCode,
            request.nCycType,        std::max(int{request.nCycDef}, 1),
            request.nBeginDate,      request.nEndDate > 0 ? request.nEndDate : kNoLastDay,
            request.nModeFlag,       request.nModeDate,
            request.nModeSwitch != 0};
        pSource = std::make_unique<BarSource>(store, std::move(bars), bSnapshots);
    }
    if constexpr (std::is_same_v<Request, ZPMDefine_RequestKData_Option>) {
        form.nType = ID_ZPMTELE_DAYKDATA_OPTION;
        return std::make_unique<BarAnswer<ZPMDefine_KData_Option_Head, ZPMDefine_KData>>(
            form, std::move(pSource));
    } else {
        if (code && code->nType < 16) {
            form.nType = ID_ZPMTELE_DAYKDATA_INDEX;
            return std::make_unique<BarAnswer<ZPMDefine_KData_Head, ZPMDefine_KData_Index>>(
                form, std::move(pSource));
        }
        return std::make_unique<BarAnswer<ZPMDefine_KData_Head, ZPMDefine_KData>>(
            form, std::move(pSource));
    }
}

}  // namespace

std::string MakePacket(int nType, int nRequestID, const void* pBody, size_t nBytes,
                       const std::string& strStream) {
    ZPMDefine_MessageHead head{};
    head.sFlags = PROTOCAL_NUMBER;
    head.sDataType = static_cast<int16_t>(nType);
    head.nDataLen = static_cast<int32_t>(nBytes + strStream.size());
    head.nRequestID = nRequestID;
    std::string strPacket;
    strPacket.reserve(sizeof head + nBytes + strStream.size());
    strPacket.append(reinterpret_cast<const char*>(&head), sizeof head);
    strPacket.append(static_cast<const char*>(pBody), nBytes);
    strPacket += strStream;
    return strPacket;
}

std::string MakeLoginAnswer(Store& store, const UserRow& user, int nRequestID,
                            const std::string& strRefusal) {
    ZPMDefine_LoginAnswer answer{};
    if (strRefusal.empty()) {
        FillGbkField(answer.szInfo, "welcome");
        answer.nResult = 1;
        for (const auto& strMarket : user.vecMarkets) {
            FillField(answer.chMarket[answer.nMarkets], strMarket.c_str(), 4);
            // The client skips zeros and would shift the rest, so a market without codes has a
            // date.
            const int nChanged = store.CodesChanged(strMarket);
            answer.nMarketInfo[answer.nMarkets++] = nChanged != 0 ? nChanged : 19700101;
        }
    } else {
        FillGbkField(answer.szInfo, strRefusal);
    }
    return MakePacket(ID_ZPMTELE_LOGIN_ANSWER, nRequestID, &answer, sizeof answer);
}

void CheckHead(const ZPMDefine_MessageHead& head) {
    if (head.sFlags != PROTOCAL_NUMBER) throw ProtocolError("not a message of this protocol");
    if (head.nDataLen < 0 || head.nDataLen > kMaxRequestBytes) {
        throw ProtocolError("request of " + std::to_string(head.nDataLen) + " bytes");
    }
    for (const auto& form : kRequests) {
        if (form.nType != head.sDataType) continue;
        if (form.nBytes == head.nDataLen) return;
        throw ProtocolError("request of type " + std::to_string(head.sDataType) + " with " +
                            std::to_string(head.nDataLen) + " bytes");
    }
    throw ProtocolError("unknown request type " + std::to_string(head.sDataType));
}

std::unique_ptr<Answer> MakeAnswer(Store& store, const UserRow& user,
                                   const ZPMDefine_MessageHead& head, const std::string& strBody) {
    const int nId = head.nRequestID;
    switch (head.sDataType) {
        case ID_ZPMTELE_REQ_CODETABLE:
            return CodeTable(store, user, nId, strBody);
        case ID_ZPMTELE_REQ_TICK:
        case ID_ZPMTELE_REQ_TICK_NIGHT:
            return Ticks(store, user, head.sDataType, nId, strBody);
        case ID_ZPMTELE_REQ_SAVEDATA:
            return Trades(store, user, nId, strBody);
        case ID_ZPMTELE_REQ_FUTURE:
        case ID_ZPMTELE_REQ_FUTURE_AB:
            return Snapshots<ZPMDefine_RequestFuture>(
                store, user, head.sDataType == ID_ZPMTELE_REQ_FUTURE_AB, nId, strBody);
        case ID_ZPMTELE_REQ_OPTION:
        case ID_ZPMTELE_REQ_OPTION_AB:
            return Snapshots<ZPMDefine_RequestOption>(
                store, user, head.sDataType == ID_ZPMTELE_REQ_OPTION_AB, nId, strBody);
        case ID_ZPMTELE_REQ_KDATA:
            return Bars<ZPMDefine_RequestKData>(store, user, nId, strBody);
        case ID_ZPMTELE_REQ_KDATA_OPTION:
            return Bars<ZPMDefine_RequestKData_Option>(store, user, nId, strBody);
        default:
            throw ProtocolError("unknown request type " + std::to_string(head.sDataType));
    }
}

}  // namespace qrx::server
