// Formulas: stored, listed, deleted and evaluated, each for its own user alone. Answers to add and
// delete carry a text for the user; an answer to a calculation has no room for one, so what went
// wrong there is a line in the log.
#include <atomic>
#include <optional>

#include "formula/answer_stream.h"
#include "formula/evaluate.h"
#include "serve/answer_parts.h"
#include "serve/log.h"
#include "text/encoding.h"
#include "text/printable.h"

namespace qrx::server {
namespace {

using formula::FormulaError;

// Answers wait for clients that read slowly, and are large: together they hold no more than this.
constexpr size_t kMaxHeldBytes = size_t{512} << 20;

class HeldBytes {
public:
    explicit HeldBytes(size_t nBytes) : m_nBytes(nBytes) {
        if (s_nHeld.fetch_add(nBytes) + nBytes <= kMaxHeldBytes) return;
        s_nHeld -= nBytes;
        throw FormulaError("the server is busy with other calculations");
    }
    ~HeldBytes() { s_nHeld -= m_nBytes; }
    HeldBytes(const HeldBytes&) = delete;
    HeldBytes& operator=(const HeldBytes&) = delete;

private:
    static inline std::atomic<size_t> s_nHeld{0};
    size_t m_nBytes;
};

class CalcAnswer final : public Answer {
public:
    explicit CalcAnswer(std::string strPacket)
        : m_held(strPacket.size()), m_packet(std::move(strPacket)) {}
    bool Next(std::string& strPacket) override { return m_packet.Next(strPacket); }

private:
    HeldBytes m_held;
    OnePacket m_packet;
};

void CheckName(const std::string& strName) {
    if (strName.empty() || strName.size() > formula::kMaxNameBytes) {
        throw FormulaError("a name has 1 to " + std::to_string(formula::kMaxNameBytes) + " bytes");
    }
    for (const char c : strName) {
        if (c >= 0 && (c < ' ' || c == 0x7F))
            throw FormulaError("a name has printable characters only");
    }
}

std::string Joined(const std::vector<std::string>& vec) {
    std::string strAll;
    for (const auto& str : vec) strAll += " " + str;
    return strAll;
}

// The text that says what was stored, or FormulaError.
std::string Add(const Request& request, const FormulaRow& row, bool& bReplaced) {
    CheckName(row.strName);
    if (row.strText.size() > formula::kMaxTextBytes) {
        throw FormulaError("too long: " + std::to_string(row.strText.size()) + " bytes, at most " +
                           std::to_string(formula::kMaxTextBytes));
    }
    const formula::Trial trial = formula::Try(row.strText);
    const FormulaPut put =
        request.store.PutFormula(request.user.strName, row, formula::kMaxFormulas);
    if (put == FormulaPut::TooMany) {
        throw FormulaError("too many: " + std::to_string(formula::kMaxFormulas) +
                           " formulas are stored; delete one first");
    }
    bReplaced = put == FormulaPut::Replaced;
    std::string strText = bReplaced ? "replaced the one of this name;" : "new;";
    if (!trial.vecParameters.empty()) {
        strText += " needs" + Joined(trial.vecParameters) + "; gives";
    } else {
        strText += " gives";
    }
    return strText + Joined(trial.vecColumns);
}

// The bars of the days and times asked for. Times bound the first and the last date, as they do in
// every other request of a client.
std::vector<ZPMDefine_KData> ReadBars(BarSource& source, const ZPMDefine_RequestCalcFormula& body) {
    std::vector<ZPMDefine_KData> vecAll;
    std::vector<ZPMDefine_KData> vecSome;
    while (source.Next(vecSome)) {
        for (const auto& bar : vecSome) {
            const int64_t nTime = int64_t{bar.nTime} * 1000;  // HHMMSS to HHMMSSmmm
            if (body.nBeginTime > 0 &&
                (bar.nDate < body.nBeginDate ||
                 (bar.nDate == body.nBeginDate && nTime < body.nBeginTime))) {
                continue;
            }
            if (body.nEndTime > 0 && bar.nDate == body.nEndDate && nTime > body.nEndTime) continue;
            vecAll.push_back(bar);
        }
        if (vecAll.size() > formula::kMaxRows) {
            throw FormulaError("more than " + std::to_string(formula::kMaxRows) + " bars");
        }
    }
    return vecAll;
}

ZPMDefine_CalcFormula_Head MakeCalcHead(const ZPMDefine_RequestCalcFormula& body) {
    ZPMDefine_CalcFormula_Head head{};
    memcpy(head.chCode, body.chCode, sizeof head.chCode);
    memcpy(head.chMarket, body.chMarket, sizeof head.chMarket);
    head.nTimeUnit = 1;
    return head;
}

std::unique_ptr<Answer> Calculate(const Request& request,
                                  const ZPMDefine_RequestCalcFormula& body) {
    const auto text = request.store.FindFormula(request.user.strName, FieldText(body.szName));
    if (!text) throw FormulaError("no formula of this name");
    const auto parameters = formula::ReadParameters(FieldText(body.szParam));
    BarRequest wanted{FieldText(body.chMarket),
                      FieldText(body.chCode),
                      body.nCycType,
                      body.nCycDef,
                      body.nBeginDate,
                      body.nEndDate,
                      body.nCQFlag,
                      0,
                      false};
    const auto pSource = OpenBars(request, std::move(wanted));
    if (!pSource) throw FormulaError("no such code, or its market is not open to the user");
    const auto vecBars = ReadBars(*pSource, body);
    if (vecBars.empty()) throw FormulaError("no bars");
    const auto vecColumns = formula::Evaluate(*text, parameters, vecBars);
    const bool bTimes = HasTimes(body.nCycType);
    auto head = MakeCalcHead(body);
    head.nFlags = bTimes ? 2 : 0;
    head.nColumns = static_cast<int>(vecColumns.size());
    return std::make_unique<CalcAnswer>(
        MakePacket(ID_ZPMTELE_EZFORMULA_CALC_ANSWER_DYN, request.nId, &head, sizeof head,
                   formula::EncodeAnswer(vecBars, bTimes, vecColumns)));
}

}  // namespace

std::unique_ptr<Answer> AnswerAddFormula(const Request& request) {
    const auto body = ReadBody<ZPMDefine_RequestAddFormula>(request);
    if (request.strBody.size() != size_t{kAddFormulaBytes} + body.nTextLen) {
        throw ProtocolError("formula of another length than its text");
    }
    ZPMDefine_AddFormulaAnswer answer{};
    std::string strText;
    try {
        bool bReplaced = false;
        strText = Add(request,
                      {FieldText(body.szName), request.strBody.substr(sizeof body, body.nTextLen)},
                      bReplaced);
        answer.nAddResult = bReplaced ? 1 : 0;
    } catch (const FormulaError& e) {
        answer.nResult = 1;
        strText = e.what();
    }
    FillGbkField(answer.szAddInfo, sizeof answer.szAddInfo - 1, strText);
    return MakeOnePacket(ID_ZPMTELE_FORMULA_ADD_ANSWER, request, answer);
}

std::unique_ptr<Answer> AnswerDeleteFormula(const Request& request) {
    const auto body = ReadBody<ZPMDefine_FormulaName>(request);
    const bool bGone = request.store.RemoveFormula(request.user.strName, FieldText(body.szName));
    ZPMDefine_DelFormulaAnswer answer{};
    answer.nResult = bGone ? 0 : 1;
    memcpy(answer.szName, body.szName, sizeof answer.szName);
    FillGbkField(answer.szDelInfo, bGone ? "no longer stored" : "no formula of this name");
    return MakeOnePacket(ID_ZPMTELE_FORMULA_DELETE_ANSWER, request, answer);
}

std::unique_ptr<Answer> AnswerGetFormula(const Request& request) {
    const auto body = ReadBody<ZPMDefine_FormulaName>(request);
    const std::string strName = FieldText(body.szName);
    std::string strItems;
    ZPMDefine_FormulaList_Head head{0, sizeof(ZPMDefine_FormulaItem)};
    const auto put = [&](const FormulaRow& row) {
        ZPMDefine_FormulaItem item{};
        row.strName.copy(item.szName, sizeof item.szName);
        row.strText.copy(item.szText, sizeof item.szText);
        strItems.append(reinterpret_cast<const char*>(&item), sizeof item);
        ++head.nItems;
    };
    if (strName.empty()) {
        for (const auto& row :
             request.store.Formulas(request.user.strName, sizeof(ZPMDefine_FormulaItem::szText))) {
            put(row);
        }
    } else if (const auto text = request.store.FindFormula(request.user.strName, strName)) {
        put({strName, *text});
    }
    return MakeOnePacket(ID_ZPMTELE_FORMULA_GET_ANSWER, request, head, strItems);
}

std::unique_ptr<Answer> AnswerCalcFormula(const Request& request) {
    const auto body = ReadBody<ZPMDefine_RequestCalcFormula>(request);
    std::string strWhy;
    try {
        return Calculate(request, body);
    } catch (const FormulaError& e) {
        strWhy = e.what();
    } catch (const std::bad_alloc&) {
        strWhy = "not enough memory";
    }
    Log("user \"" + Printable(request.user.strName) + "\" formula \"" +
        Printable(FieldText(body.szName)) + "\" over " + Printable(FieldText(body.chCode)) + "." +
        Printable(FieldText(body.chMarket)) + ": " + Printable(strWhy));
    const auto head = MakeCalcHead(body);
    return MakeOnePacket(ID_ZPMTELE_EZFORMULA_CALC_ANSWER_DYN, request, head,
                         std::string(1, '\0'));  // no rows
}

}  // namespace qrx::server
