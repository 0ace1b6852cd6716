// C++ owners over the C functions of qrx.h: a session that closes itself, results that free
// themselves, result codes as an enum. Header-only, C++17, no logic of its own.
//
//     qrx::OpenResult opened = qrx::Session::Open(settings);
//     if (!opened) return fail(opened.login.szInfo);
//     QRXDefine_ReqTick request = {"600000.SH", 20240105, 20240105, 0, 0};
//     auto ticks = opened.session.Ticks(request);
//     if (!ticks) return fail(qrx::Message(ticks.code));
//     for (const QRXDefine_Tick& tick : ticks.value) use(tick);
#ifndef QRX_QRX_HPP
#define QRX_QRX_HPP

#include <qrx/qrx.h>

#include <atomic>
#include <cstddef>
#include <string>
#include <utility>

namespace qrx {

enum class ResultCode : int {
    Ok = QRX_OK,
    Network = QRX_ERR_NETWORK,
    TimeOut = QRX_ERR_TIMEOUT,
    NoData = QRX_ERR_NO_DATA,
    Memory = QRX_ERR_MEMORY,
    Login = QRX_ERR_LOGIN,
    WrongType = QRX_ERR_TYPE,
    Argument = QRX_ERR_ARGUMENT,
    Formula = QRX_ERR_FORMULA,
    NoCodeTable = QRX_ERR_NO_CODE_TABLE,
    NoMarkets = QRX_ERR_NO_MARKETS,
    MalformedLogin = QRX_ERR_MALFORMED_LOGIN
};

inline const char* Message(ResultCode code) {
    switch (code) {
        case ResultCode::Ok:
            return "success";
        case ResultCode::Network:
            return "the connection failed or was closed";
        case ResultCode::TimeOut:
            return "the server did not answer within the time-out";
        case ResultCode::NoData:
            return "no data in the range, or the code is unknown";
        case ResultCode::Memory:
            return "the result does not fit into memory";
        case ResultCode::Login:
            return "the server refused the login";
        case ResultCode::WrongType:
            return "this kind of security has no such data";
        case ResultCode::Argument:
            return "an argument is invalid, or the session is closed";
        case ResultCode::Formula:
            return "the formula service refused";
        case ResultCode::NoCodeTable:
            return "no code table could be retrieved";
        case ResultCode::NoMarkets:
            return "the user is authorised for no market";
        case ResultCode::MalformedLogin:
            return "the login answer was malformed";
    }
    return "unknown result code";
}

// The longest formula text, in bytes, that may be handed over; a longer one stops the process.
inline constexpr std::size_t kMaxFormulaText = 1024 * 1024 - 1;

// An array that the library allocated: a move-only owner with the interface of a span.
template <class T>
class Array {
public:
    Array() = default;
    Array(T* pData, int nCount) : m_pData(pData), m_nCount(nCount) {}
    Array(Array&& other) noexcept { Swap(other); }
    Array& operator=(Array&& other) noexcept {
        Array taken(std::move(other));
        Swap(taken);
        return *this;
    }
    Array(const Array&) = delete;
    Array& operator=(const Array&) = delete;
    ~Array() { QRX_Free(m_pData); }

    T* data() const { return m_pData; }
    std::size_t size() const { return static_cast<std::size_t>(m_nCount); }
    bool empty() const { return m_nCount == 0; }
    T* begin() const { return m_pData; }
    T* end() const { return m_pData + m_nCount; }
    T& operator[](std::size_t i) const { return m_pData[i]; }

private:
    void Swap(Array& other) noexcept {
        std::swap(m_pData, other.m_pData);
        std::swap(m_nCount, other.m_nCount);
    }

    T* m_pData = nullptr;
    int m_nCount = 0;
};

// The columns of a calculation. What lies in a column is valid as long as the object.
class Calculation {
public:
    Calculation() = default;
    Calculation(Calculation&& other) noexcept : m_record(std::exchange(other.m_record, {})) {}
    Calculation& operator=(Calculation&& other) noexcept {
        std::swap(m_record, other.m_record);
        return *this;
    }
    Calculation(const Calculation&) = delete;
    Calculation& operator=(const Calculation&) = delete;
    ~Calculation() { QRX_ReleaseCalcFormula(&m_record); }

    int Rows() const { return m_record.nRecordCount; }
    int Columns() const { return m_record.nFieldCount; }
    std::string Name(int nColumn) const {
        const char* p = m_record.chFieldName[nColumn];
        std::size_t n = 0;
        while (n < sizeof m_record.chFieldName[0] && p[n] != '\0') ++n;
        return std::string(p, n);
    }
    // Rows() values, or null for a column without values.
    const int32_t* Column(int nColumn) const { return m_record.pnFieldData[nColumn]; }
    const QRXDefine_CalcFormulaRes& Record() const { return m_record; }
    QRXDefine_CalcFormulaRes* Out() { return &m_record; }

private:
    QRXDefine_CalcFormulaRes m_record{};
};

// What a call gave: a code, and a value that is empty unless the code is Ok.
template <class T>
struct Result {
    ResultCode code = ResultCode::Argument;
    T value{};
    explicit operator bool() const { return code == ResultCode::Ok; }
};

struct OpenResult;

// An open session. Close may be called from another thread while a call runs: that call then
// returns ResultCode::Network. Moving is for the owner, while nothing runs.
class Session {
public:
    Session() = default;
    explicit Session(void* h) : m_h(h) {}
    Session(Session&& other) noexcept : m_h(other.m_h.exchange(nullptr)) {}
    Session& operator=(Session&& other) noexcept {
        if (this != &other) {
            Close();
            m_h = other.m_h.exchange(nullptr);
        }
        return *this;
    }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;
    ~Session() { Close(); }

    static OpenResult Open(const OPEN_SETTINGS& settings);
    static OpenResult OpenProxy(const OPEN_SETTINGS& settings, QRX_PROXY_SETTING proxy);

    ResultCode Close() {
        void* h = m_h.exchange(nullptr);
        return h != nullptr ? static_cast<ResultCode>(QRX_Close(h)) : ResultCode::Argument;
    }
    explicit operator bool() const { return m_h.load() != nullptr; }
    void* Handle() const { return m_h.load(); }

    // Null or "": every market.
    Result<Array<QRXDefine_Code>> Codes(const char* szMarket = nullptr) {
        return Fetch<QRXDefine_Code>(QRX_GetCodeTable, szMarket);
    }
    const QRXDefine_Code* CodeInfo(const char* szCode) { return QRX_GetCodeInfo(Handle(), szCode); }
    Result<Array<QRXDefine_Tick>> Ticks(const QRXDefine_ReqTick& request) {
        return Fetch<QRXDefine_Tick>(QRX_GetTick, &request);
    }
    Result<Array<QRXDefine_TickAB>> TicksWithBook(const QRXDefine_ReqTick& request) {
        return Fetch<QRXDefine_TickAB>(QRX_GetTickAB, &request);
    }
    Result<Array<QRXDefine_Transaction>> Trades(const QRXDefine_ReqTransaction& request) {
        return Fetch<QRXDefine_Transaction>(QRX_GetTransaction, &request);
    }
    Result<Array<QRXDefine_Order>> Orders(const QRXDefine_ReqOrder& request) {
        return Fetch<QRXDefine_Order>(QRX_GetOrder, &request);
    }
    Result<Array<QRXDefine_OrderQueue>> OrderQueues(const QRXDefine_ReqOrderQueue& request) {
        return Fetch<QRXDefine_OrderQueue>(QRX_GetOrderQueue, &request);
    }
    Result<Array<QRXDefine_KLine>> Bars(const QRXDefine_ReqKLine& request) {
        return Fetch<QRXDefine_KLine>(QRX_GetKLine, &request);
    }
    Result<Array<QRXDefine_Future>> Futures(const QRXDefine_ReqFuture& request) {
        return Fetch<QRXDefine_Future>(QRX_GetFuture, &request);
    }
    Result<Array<QRXDefine_FutureAB>> FuturesWithBook(const QRXDefine_ReqFuture& request) {
        return Fetch<QRXDefine_FutureAB>(QRX_GetFutureAB, &request);
    }

    // A text longer than kMaxFormulaText is refused here, and so is a name or a text with a zero
    // byte, which would be stored up to there. The answer is filled when the server refuses, too.
    Result<QRXDefine_AddFormulaRes> AddFormula(const std::string& strName,
                                               const std::string& strText) {
        Result<QRXDefine_AddFormulaRes> result;
        if (strText.size() > kMaxFormulaText || HasNul(strName) || HasNul(strText)) return result;
        result.code = static_cast<ResultCode>(
            QRX_AddFormula(Handle(), strName.c_str(), strText.c_str(), &result.value));
        return result;
    }
    Result<Array<QRXDefine_FormulaItem>> Formulas(const char* szName = nullptr) {
        return Fetch<QRXDefine_FormulaItem>(QRX_GetFormula, szName);
    }
    Result<QRXDefine_DelFormulaRes> DeleteFormula(const std::string& strName) {
        Result<QRXDefine_DelFormulaRes> result;
        if (HasNul(strName)) return result;
        result.code =
            static_cast<ResultCode>(QRX_DeleteFormula(Handle(), strName.c_str(), &result.value));
        return result;
    }
    Result<Calculation> Calculate(const QRXDefine_ReqCalcFormula& request) {
        Result<Calculation> result;
        result.code =
            static_cast<ResultCode>(QRX_CalcFormula(Handle(), &request, result.value.Out()));
        return result;
    }

private:
    static bool HasNul(const std::string& str) { return str.find('\0') != std::string::npos; }

    template <class Record, class Function, class Request>
    Result<Array<Record>> Fetch(Function pfnCall, Request request) {
        Record* pData = nullptr;
        int nCount = 0;
        const int nResult = pfnCall(Handle(), request, &pData, &nCount);
        return {static_cast<ResultCode>(nResult), Array<Record>(pData, nCount)};
    }

    std::atomic<void*> m_h{nullptr};
};

// An open session, or none and the reason in login.szInfo (not necessarily terminated, in the
// server's encoding when the server refused).
struct OpenResult {
    Session session;
    QRXDefine_ResLogin login{};
    explicit operator bool() const { return static_cast<bool>(session); }
};

inline OpenResult Session::Open(const OPEN_SETTINGS& settings) {
    OpenResult result;
    result.session = Session(QRX_Open(&settings, &result.login));
    return result;
}
inline OpenResult Session::OpenProxy(const OPEN_SETTINGS& settings, QRX_PROXY_SETTING proxy) {
    OpenResult result;
    result.session = Session(QRX_OpenProxy(&settings, &proxy, &result.login));
    return result;
}

}  // namespace qrx

#endif
