// The store of qrx-server: users, code tables, days of data and formulas, whatever lies beneath.
//
// A day of one security and kind is a list of chunks; a chunk is one packet's record stream, ready
// encoded, with its number of records and the calendar date that the packet's head shows. Serving
// is therefore reading. How records become chunks is said in store/day_stream.h: writers call
// PutRecords there and never PutDay with bytes of their own making.
//
// Texts are UTF-8. Markets and codes are compared without regard to letter case. One object may be
// used by several threads; a Batch belongs to one thread, and others wait while it is open.
// Failures throw StoreError.
#ifndef QRX_SERVER_STORE_STORE_H
#define QRX_SERVER_STORE_STORE_H

#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace qrx::server {

struct StoreError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// The numbers are stored: none is ever given a new meaning.
enum class DayKind : int {
    Tick = 1,           // ZPMDefine_Tick_Night, written together with TickLevels
    TickLevels = 2,     // ZPMDefine_Tick_AB_Night
    Transaction = 3,    // ZPMDefine_Transaction_v2
    Order = 4,          // ZPMDefine_Order_v2
    OrderQueue = 5,     // ZPMDefine_OrderQueue
    Snapshot = 6,       // ZPMDefine_Future_AB_Night
    MinuteBar = 7,      // ZPMDefine_KData of one minute, times HHMMSS
    DailyBar = 8,       // ZPMDefine_KData, one year together under the day YYYY0000
    FiveMinuteBar = 9,  // ZPMDefine_KData of five minutes, times HHMMSS
};

// One security's trading day. A night session belongs to the trading day that follows it.
struct DayKey {
    std::string strMarket;
    std::string strCode;
    int nDay;  // YYYYMMDD
};

struct StreamChunk {
    int nDate;  // calendar date of its records
    int nItems;
    std::string strStream;
};

// A stored chunk before it is read. An id is never used twice, so a day that was replaced meanwhile
// is noticed by the reader.
struct ChunkRef {
    int64_t nId;
    int nDate;
    int nItems;
};

struct CodeRow {
    std::string strCode;  // at most 16 bytes
    std::string strName;
    int nType;  // below 16 index, 112 to 125 futures, high nibble 0x90 option
};

struct UserRow {
    std::string strName;  // at most 16 bytes
    std::string strHash;  // crypt(3)
    std::vector<std::string> vecMarkets;
};

// Three values of a futures day that stand in the head of every answer packet.
struct DayReference {
    int nPrevSettle = 0;        // nDayRef1
    int nPrevClose = 0;         // nDayRef2
    int nPrevOpenInterest = 0;  // nDayRef3
};

// From nDate on, prices of this security count with this factor (of the back-adjusted series).
struct AdjustFactor {
    int nDate;
    double fFactor;
};

// Bytes as they came: clients choose the encoding.
struct FormulaRow {
    std::string strName;
    std::string strText;
};

enum class FormulaPut { Added, Replaced, TooMany };

class Store {
public:
    virtual ~Store() = default;

    // Everything between construction and Commit happens, or, without Commit, nothing.
    class Batch {
    public:
        explicit Batch(Store& store) : m_store(store) { m_store.Begin(); }
        ~Batch() {
            if (!m_bDone) m_store.Rollback();
        }
        Batch(const Batch&) = delete;
        Batch& operator=(const Batch&) = delete;
        void Commit() {
            m_store.Commit();
            m_bDone = true;
        }

    private:
        Store& m_store;
        bool m_bDone = false;
    };

    // -- Users
    virtual bool AddUser(const UserRow& user) = 0;  // false: the name is taken
    virtual bool RemoveUser(const std::string& strName) = 0;
    virtual std::optional<UserRow> FindUser(const std::string& strName) = 0;
    virtual std::vector<UserRow> Users() = 0;

    // -- Code tables, in their own order; codes of a later import are added or replaced
    virtual void PutCodes(const std::string& strMarket, const std::vector<CodeRow>& vecCodes) = 0;
    virtual std::vector<CodeRow> Codes(const std::string& strMarket) = 0;
    virtual std::optional<CodeRow> FindCode(const std::string& strMarket,
                                            const std::string& strCode) = 0;
    virtual int CodesChanged(const std::string& strMarket) = 0;  // date, 0: there are none

    // -- Days
    // Replaces whatever the day held of this kind; no chunks: the day is removed.
    virtual void PutDay(DayKind kind, const DayKey& key, const std::vector<StreamChunk>& vec) = 0;
    virtual std::vector<ChunkRef> ListDay(DayKind kind, const DayKey& key) = 0;
    virtual bool ReadChunk(int64_t nId, std::string& strStream) = 0;  // false: gone meanwhile
    // The days held, ascending, both ends included.
    virtual std::vector<int> Days(DayKind kind, const std::string& strMarket,
                                  const std::string& strCode, int nFrom, int nTo) = 0;

    virtual void PutDayReference(const DayKey& key, const DayReference& reference) = 0;
    virtual DayReference GetDayReference(const DayKey& key) = 0;

    virtual void PutAdjustFactors(const std::string& strMarket, const std::string& strCode,
                                  const std::vector<AdjustFactor>& vecFactors) = 0;
    virtual std::vector<AdjustFactor> AdjustFactors(const std::string& strMarket,
                                                    const std::string& strCode) = 0;

    // -- Formulas, each seen by its user alone
    // Another name when the user has nMost is refused.
    virtual FormulaPut PutFormula(const std::string& strUser, const FormulaRow& formula,
                                  int nMost) = 0;
    virtual bool RemoveFormula(const std::string& strUser, const std::string& strName) = 0;
    virtual std::optional<std::string> FindFormula(const std::string& strUser,
                                                   const std::string& strName) = 0;  // its text
    // By name, the texts cut to nTextBytes.
    virtual std::vector<FormulaRow> Formulas(const std::string& strUser, int nTextBytes) = 0;

protected:
    virtual void Begin() = 0;
    virtual void Commit() = 0;
    virtual void Rollback() noexcept = 0;
};

// Embedded store in one file. Create refuses a file that exists, Open one that is not a store.
std::unique_ptr<Store> CreateSqliteStore(const std::string& strPath);
std::unique_ptr<Store> OpenSqliteStore(const std::string& strPath);

}  // namespace qrx::server

#endif
