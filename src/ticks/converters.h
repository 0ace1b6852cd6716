// From decoded server records to public ones, and from public requests to server requests.
// No converter changes a unit.
#ifndef QRX_TICKS_CONVERTERS_H
#define QRX_TICKS_CONVERTERS_H

#include <qrx/ticks.h>

#include <string>

#include "codec/field_map.h"
#include "codec/tick_records.h"
#include "codec/wire.h"

namespace qrx::codec {

template <class B, class R>
consteval auto CommonMoves() {
    return JoinMoves(QRX_SAME(nTime), QRX_SAME(nPrice), QRX_SAME(iVolume), QRX_SAME(iTurnover),
                     QRX_SAME(nTickField1), QRX_SAME(iAccVolume), QRX_SAME(iAccTurnover),
                     QRX_SAME(nExt));
}
template <class B, class R>
consteval auto DayMoves() {
    return JoinMoves(CommonMoves<B, R>(), QRX_SAME(nTickField2), QRX_SAME(chTickFlag1),
                     QRX_SAME(chTickFlag2));
}
template <class B, class R>
consteval auto LevelMoves() {
    return JoinMoves(QRX_SAME(nBook1), QRX_SAME(nBook2), QRX_SAME(nBook3), QRX_SAME(nBook4),
                     QRX_SAME(nABField1), QRX_SAME(nABField2), QRX_SAME(iABField3),
                     QRX_SAME(iABField4));
}
// Night records are dated by themselves and carry the index fields too.
template <class B, class R>
consteval auto NightMoves() {
    return JoinMoves(QRX_SAME(nDate), DayMoves<B, R>(), QRX_SAME(nIndexField));
}
template <class B, class R>
consteval auto IndexMoves() {
    return JoinMoves(CommonMoves<B, R>(), QRX_SAME(nIndexField));
}

QRX_MOVES(ZPMDefine_TickData_ACC_EX, QRXDefine_Tick, DayMoves<B, R>())
QRX_MOVES(ZPMDefine_TickData_AB_ACC_EX, QRXDefine_TickAB, DayMoves<B, R>(), LevelMoves<B, R>())
QRX_MOVES(ZPMDefine_TickData_Index_ACC_EX, QRXDefine_Tick, IndexMoves<B, R>())
QRX_MOVES(ZPMDefine_TickData_Index_ACC_EX, QRXDefine_TickAB, IndexMoves<B, R>())
QRX_MOVES(ZPMDefine_Tick_Night, QRXDefine_Tick, NightMoves<B, R>())
QRX_MOVES(ZPMDefine_Tick_Night, QRXDefine_TickAB, NightMoves<B, R>())
QRX_MOVES(ZPMDefine_Tick_AB_Night, QRXDefine_TickAB, NightMoves<B, R>(), LevelMoves<B, R>())
// The server sends a transaction's time first; the public record has the index first.
QRX_MOVES(ZPMDefine_Transaction_v2, QRXDefine_Transaction, QRX_SAME(nTime), QRX_SAME(nIndex),
          QRX_SAME(chFlag1), QRX_SAME(chFlag2), QRX_SAME(chFlag3), QRX_SAME(nTradeValue),
          QRX_SAME(nTradeValue4))
QRX_MOVES(ZPMDefine_Order_v2, QRXDefine_Order, QRX_SAME(nTime), QRX_SAME(nOrderField),
          QRX_SAME(nIndex), QRX_SAME(chFlag1), QRX_SAME(chFlag2), QRX_SAME(nOrderValue1),
          QRX_SAME(nOrderValue2))
QRX_MOVES(ZPMDefine_Order, QRXDefine_Order, QRX_SAME(nTime), QRX_SAME(nIndex), QRX_SAME(chFlag1),
          QRX_SAME(chFlag2), QRX_SAME(nOrderValue1), QRX_SAME(nOrderValue2))
QRX_MOVES(ZPMDefine_OrderQueue, QRXDefine_OrderQueue, QRX_SAME(nTime), QRX_SAME(nQueueField),
          QRX_SAME(nQueueItems))
template <>
inline constexpr std::array<FieldMove, 5> kMoves<ZPMDefine_Transaction, QRXDefine_Transaction> =
    [] {
        using B = ZPMDefine_Transaction;
        using R = QRXDefine_Transaction;
        return JoinMoves(
            QRX_SAME(nTime), QRX_SAME(nIndex), QRX_SAME(chFlag1), QRX_SAME(chFlag2),
            std::array<FieldMove, 1>{
                {{offsetof(B, nTradeValue), offsetof(R, nTradeValue), sizeof(B::nTradeValue)}}});
    }();

}  // namespace qrx::codec

// A converter under its name: (server record, public record, date, public code, exchange code).
#define QRX_CONVERTER(Name, Body, Record)                                                     \
    inline void Name(const Body& src, Record& dst, int nDate, const std::string& strVelaCode, \
                     const std::string& strCode) {                                            \
        ::qrx::codec::Convert(src, dst, nDate, strVelaCode, strCode);                         \
    }

namespace BusinessConvertor {

QRX_CONVERTER(HTickACC2T, ZPMDefine_TickData_ACC_EX, QRXDefine_Tick)
QRX_CONVERTER(HTickIndexACC2T, ZPMDefine_TickData_Index_ACC_EX, QRXDefine_Tick)
QRX_CONVERTER(HTickIndexACC2TAB, ZPMDefine_TickData_Index_ACC_EX, QRXDefine_TickAB)
QRX_CONVERTER(HTickABACC2T, ZPMDefine_TickData_AB_ACC_EX, QRXDefine_TickAB)
QRX_CONVERTER(HTickNight2T, ZPMDefine_Tick_Night, QRXDefine_Tick)
QRX_CONVERTER(HTickNight2TAB, ZPMDefine_Tick_Night, QRXDefine_TickAB)
QRX_CONVERTER(HTickABNight2T, ZPMDefine_Tick_AB_Night, QRXDefine_TickAB)
QRX_CONVERTER(HTranaction2T, ZPMDefine_Transaction_v2, QRXDefine_Transaction)
QRX_CONVERTER(HTranaction2T, ZPMDefine_Transaction, QRXDefine_Transaction)
QRX_CONVERTER(HOrder2T, ZPMDefine_Order_v2, QRXDefine_Order)
QRX_CONVERTER(HOrder2T, ZPMDefine_Order, QRXDefine_Order)
QRX_CONVERTER(HOrderQueue2T, ZPMDefine_OrderQueue, QRXDefine_OrderQueue)

// Convert n decoded records in order; the second takes no date (the records carry their own).
template <class Body, class Record>
void ZPMVec2QRX(const Body* pSrc, int n,
                void (*pfnConvert)(const Body&, Record&, int, const std::string&,
                                   const std::string&),
                Record* pDst, int nDate, const std::string& strVelaCode,
                const std::string& strCode) {
    for (int i = 0; i < n; ++i) pfnConvert(pSrc[i], pDst[i], nDate, strVelaCode, strCode);
}
template <class Body, class Record>
void ZPMVec2QRXNoDate(const Body* pSrc, int n,
                      void (*pfnConvert)(const Body&, Record&, int, const std::string&,
                                         const std::string&),
                      Record* pDst, const std::string& strVelaCode, const std::string& strCode) {
    ZPMVec2QRX(pSrc, n, pfnConvert, pDst, 0, strVelaCode, strCode);
}

// Server requests for one day. nDate of 0 or less is today (UTC), nBeginTime of 0 or less is sent
// as 0, nEndTime of 0 or less as -1 (no bound). They zero their result first.
void T2HReqTick(const QRXDefine_ReqTick& req, ZPMDefine_RequestTickData& out, int nFlags, int nDate,
                int nBeginTime, int nEndTime);
void T2HReqTransaction(const QRXDefine_ReqTransaction& req, ZPMDefine_RequestSaveData& out,
                       int nDate, int nBeginTime, int nEndTime);
void T2HReqOrder(const QRXDefine_ReqOrder& req, ZPMDefine_RequestSaveData& out, int nDate,
                 int nBeginTime, int nEndTime);
void T2HReqOrderQueue(const QRXDefine_ReqOrderQueue& req, ZPMDefine_RequestSaveData& out, int nDate,
                      int nBeginTime, int nEndTime);

}  // namespace BusinessConvertor

#endif
