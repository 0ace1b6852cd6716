// What the answers of every kind are made of: the request as it came, its body, whether a
// market is open to its user, heads, and an answer of one packet.
#ifndef QRX_SERVER_SERVE_ANSWER_PARTS_H
#define QRX_SERVER_SERVE_ANSWER_PARTS_H

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <utility>

#include "serve/answers.h"
#include "serve/bars.h"
#include "support/strings.h"

namespace qrx::server {

// The store outlives the answer; the rest is there while the answer is made.
struct Request {
    Store& store;
    const UserRow& user;
    int nType;
    int nId;
    const std::string& strBody;
};

// Head, text and four zero bytes.
inline constexpr int kAddFormulaBytes = sizeof(ZPMDefine_RequestAddFormula) + 4;

// Each makes the answers of some request types; none knows another's.
std::unique_ptr<Answer> AnswerCodeTable(const Request& request);
std::unique_ptr<Answer> AnswerTicks(const Request& request);
std::unique_ptr<Answer> AnswerTrades(const Request& request);
std::unique_ptr<Answer> AnswerFutures(const Request& request);
std::unique_ptr<Answer> AnswerOptions(const Request& request);
std::unique_ptr<Answer> AnswerBars(const Request& request);
std::unique_ptr<Answer> AnswerOptionBars(const Request& request);
std::unique_ptr<Answer> AnswerAddFormula(const Request& request);
std::unique_ptr<Answer> AnswerDeleteFormula(const Request& request);
std::unique_ptr<Answer> AnswerGetFormula(const Request& request);
std::unique_ptr<Answer> AnswerCalcFormula(const Request& request);

// The fixed record that a body begins with.
template <class Body>
Body ReadBody(const Request& request) {
    Body body;
    if (request.strBody.size() < sizeof body) throw ProtocolError("request of a wrong length");
    memcpy(&body, request.strBody.data(), sizeof body);
    return body;
}

inline bool IsOpenTo(const UserRow& user, const std::string& strMarket) {
    return std::any_of(user.vecMarkets.begin(), user.vecMarkets.end(), [&](const auto& str) {
        return CompareNoCase(str.c_str(), strMarket.c_str()) == 0;
    });
}

// One packet of a fixed body, as all packets are put together.
std::string MakePacket(int nType, int nRequestID, const void* pBody, size_t nBytes,
                       const std::string& strStream = {});

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

// The bars asked for; null when the code is not known or its market not open to the user.
std::unique_ptr<BarSource> OpenBars(const Request& request, BarRequest bars);

// An answer of one packet, of a head and what follows it.
template <class Head>
std::unique_ptr<Answer> MakeOnePacket(int nType, const Request& request, const Head& head,
                                      const std::string& strRest = {}) {
    return std::make_unique<OnePacket>(MakePacket(nType, request.nId, &head, sizeof head, strRest));
}

}  // namespace qrx::server

#endif
