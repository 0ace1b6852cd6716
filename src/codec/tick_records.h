// Server records of ticks, transactions, orders and order queues: layout (packed) and stream order.
//
// The tick family is composed of groups:
//   base  nTime nPrice iVolume iTurnover nTickField1 nTickField2 chTickFlag1 chTickFlag2
//   ACC   iAccVolume iAccTurnover            EX  nExt[4]
//   AB    nBook1..4[10], then nABField1 nABField2 iABField3 iABField4
//   Index nTime nPrice iVolume iTurnover nTickField1 nIndexField[5] in place of the base
//   Night nDate in front
// In the stream the day records send their levels interleaved, the night record array after array.
#ifndef QRX_CODEC_TICK_RECORDS_H
#define QRX_CODEC_TICK_RECORDS_H

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "codec/stream_field.h"

// Layout groups.
#define QRX_TICK_COMMON \
    int32_t nTime;      \
    int32_t nPrice;     \
    int64_t iVolume;    \
    int64_t iTurnover;  \
    int32_t nTickField1;
#define QRX_TICK_BASE    \
    QRX_TICK_COMMON      \
    int32_t nTickField2; \
    int8_t chTickFlag1;  \
    int8_t chTickFlag2;
#define QRX_TICK_INDEX QRX_TICK_COMMON int32_t nIndexField[5];
#define QRX_TICK_ACC    \
    int64_t iAccVolume; \
    int64_t iAccTurnover;
#define QRX_TICK_EX int32_t nExt[4];
#define QRX_TICK_AB     \
    int32_t nBook1[10]; \
    int32_t nBook2[10]; \
    int32_t nBook3[10]; \
    int32_t nBook4[10]; \
    int32_t nABField1;  \
    int32_t nABField2;  \
    int64_t iABField3;  \
    int64_t iABField4;
#define QRX_TICK_ALL int32_t nAllField[2];

#pragma pack(push, 1)
struct ZPMDefine_TickData {
    QRX_TICK_BASE
};
struct ZPMDefine_TickData_ACC {
    QRX_TICK_BASE QRX_TICK_ACC
};
struct ZPMDefine_TickData_AB {
    QRX_TICK_BASE QRX_TICK_AB
};
struct ZPMDefine_TickData_AB_ACC {
    QRX_TICK_BASE QRX_TICK_ACC QRX_TICK_AB
};
struct ZPMDefine_TickData_ALL {
    QRX_TICK_BASE QRX_TICK_ACC QRX_TICK_AB QRX_TICK_ALL
};
struct ZPMDefine_TickData_Index {
    QRX_TICK_INDEX
};
struct ZPMDefine_TickData_Index_ACC {
    QRX_TICK_INDEX QRX_TICK_ACC
};
struct ZPMDefine_TickData_Index_ALL {
    QRX_TICK_INDEX QRX_TICK_ACC QRX_TICK_ALL
};
struct ZPMDefine_TickData_EX {
    QRX_TICK_BASE QRX_TICK_EX
};
struct ZPMDefine_TickData_ACC_EX {
    QRX_TICK_BASE QRX_TICK_ACC QRX_TICK_EX
};
struct ZPMDefine_TickData_AB_EX {
    QRX_TICK_BASE QRX_TICK_AB QRX_TICK_EX
};
struct ZPMDefine_TickData_AB_ACC_EX {
    QRX_TICK_BASE QRX_TICK_ACC QRX_TICK_AB QRX_TICK_EX
};
struct ZPMDefine_TickData_ALL_EX {
    QRX_TICK_BASE QRX_TICK_ACC QRX_TICK_AB QRX_TICK_ALL QRX_TICK_EX
};
struct ZPMDefine_TickData_Index_EX {
    QRX_TICK_INDEX QRX_TICK_EX
};
struct ZPMDefine_TickData_Index_ACC_EX {
    QRX_TICK_INDEX QRX_TICK_ACC QRX_TICK_EX
};
struct ZPMDefine_TickData_Index_ALL_EX {
    QRX_TICK_INDEX QRX_TICK_ACC QRX_TICK_EX
};
struct ZPMDefine_Tick_Night {
    int32_t nDate;
    QRX_TICK_BASE QRX_TICK_ACC QRX_TICK_EX int32_t nIndexField[5];
};
struct ZPMDefine_Tick_AB_Night {
    int32_t nDate;
    QRX_TICK_BASE QRX_TICK_ACC QRX_TICK_AB QRX_TICK_EX int32_t nIndexField[5];
};
struct ZPMDefine_Transaction {  // first format
    int32_t nTime;
    int32_t nIndex;
    int8_t chFlag1;
    int8_t chFlag2;
    int32_t nTradeValue[2];
};
struct ZPMDefine_Transaction_v2 {
    int32_t nTime;
    int32_t nIndex;
    int8_t chFlag1;
    int8_t chFlag2;
    int8_t chFlag3;
    int32_t nTradeValue[3];
    int32_t nTradeValue4;
};
struct ZPMDefine_Order {  // first format
    int32_t nTime;
    int32_t nIndex;
    int8_t chFlag1;
    int8_t chFlag2;
    int32_t nOrderValue1;
    int32_t nOrderValue2;
};
struct ZPMDefine_Order_v2 {
    int32_t nTime;
    int32_t nOrderField;
    int32_t nIndex;
    int8_t chFlag1;
    int8_t chFlag2;
    int32_t nOrderValue1;
    int32_t nOrderValue2;
};
struct ZPMDefine_OrderQueue {
    int32_t nTime;
    int32_t nQueueField[4];
    int32_t nQueueItems[50];
};
#pragma pack(pop)

#undef QRX_TICK_COMMON
#undef QRX_TICK_BASE
#undef QRX_TICK_INDEX
#undef QRX_TICK_ACC
#undef QRX_TICK_EX
#undef QRX_TICK_AB
#undef QRX_TICK_ALL

namespace qrx::codec {

// Stream groups, for any record that has their members.
template <class R>
consteval auto CommonFields() {
    return Join(QRX_SCALAR(R, nTime), QRX_SCALAR(R, nPrice), QRX_SCALAR(R, iVolume),
                QRX_SCALAR(R, iTurnover), QRX_SCALAR(R, nTickField1));
}
template <class R>
consteval auto BaseFields() {
    return Join(CommonFields<R>(), QRX_SCALAR(R, nTickField2), QRX_SCALAR(R, chTickFlag1),
                QRX_SCALAR(R, chTickFlag2));
}
template <class R>
consteval auto IndexFields() {
    return Join(CommonFields<R>(), QRX_ARRAY(R, nIndexField));
}
template <class R>
consteval auto AccFields() {
    return Join(QRX_SCALAR(R, iAccVolume), QRX_SCALAR(R, iAccTurnover));
}
template <class R>
consteval auto InterleavedLevels() {
    return Interleave(QRX_ARRAY(R, nBook1), QRX_ARRAY(R, nBook2), QRX_ARRAY(R, nBook3),
                      QRX_ARRAY(R, nBook4));
}
template <class R>
consteval auto LevelArrays() {
    return Join(QRX_ARRAY(R, nBook1), QRX_ARRAY(R, nBook2), QRX_ARRAY(R, nBook3),
                QRX_ARRAY(R, nBook4));
}
template <class R>
consteval auto AbTail() {
    return Join(QRX_SCALAR(R, nABField1), QRX_SCALAR(R, nABField2), QRX_SCALAR(R, iABField3),
                QRX_SCALAR(R, iABField4));
}
// The ALL streams send iABField3 and iABField4 a second time, over the first; a property of the
// format.
template <class R>
consteval auto AllTail() {
    return Join(QRX_SCALAR(R, iABField3), QRX_SCALAR(R, iABField4), QRX_ARRAY(R, nAllField));
}
template <class R>
consteval auto ExFields() {
    return QRX_ARRAY(R, nExt);
}

// A record's stream as a list of groups, its size, and its number of values, said once.
#define QRX_STREAM(Record, nSize, nValues, ...)  \
    static_assert(sizeof(Record) == (nSize));    \
    template <>                                  \
    inline constexpr auto kStream<Record> = [] { \
        using R = Record;                        \
        return Join(__VA_ARGS__);                \
    }();                                         \
    static_assert(kStream<Record>.size() == (nValues));

QRX_STREAM(ZPMDefine_TickData, 34, 8, BaseFields<R>())
QRX_STREAM(ZPMDefine_TickData_ACC, 50, 10, BaseFields<R>(), AccFields<R>())
QRX_STREAM(ZPMDefine_TickData_AB, 218, 52, BaseFields<R>(), InterleavedLevels<R>(), AbTail<R>())
QRX_STREAM(ZPMDefine_TickData_AB_ACC, 234, 54, BaseFields<R>(), AccFields<R>(),
           InterleavedLevels<R>(), AbTail<R>())
QRX_STREAM(ZPMDefine_TickData_ALL, 242, 58, BaseFields<R>(), AccFields<R>(), InterleavedLevels<R>(),
           AbTail<R>(), AllTail<R>())
QRX_STREAM(ZPMDefine_TickData_Index, 48, 10, IndexFields<R>())
QRX_STREAM(ZPMDefine_TickData_Index_ACC, 64, 12, IndexFields<R>(), AccFields<R>())
QRX_STREAM(ZPMDefine_TickData_Index_ALL, 72, 14, IndexFields<R>(), AccFields<R>(),
           QRX_ARRAY(R, nAllField))
QRX_STREAM(ZPMDefine_TickData_EX, 50, 12, BaseFields<R>(), ExFields<R>())
QRX_STREAM(ZPMDefine_TickData_ACC_EX, 66, 14, BaseFields<R>(), AccFields<R>(), ExFields<R>())
QRX_STREAM(ZPMDefine_TickData_AB_EX, 234, 56, BaseFields<R>(), InterleavedLevels<R>(), AbTail<R>(),
           ExFields<R>())
QRX_STREAM(ZPMDefine_TickData_AB_ACC_EX, 250, 58, BaseFields<R>(), AccFields<R>(),
           InterleavedLevels<R>(), AbTail<R>(), ExFields<R>())
QRX_STREAM(ZPMDefine_TickData_ALL_EX, 258, 62, BaseFields<R>(), AccFields<R>(),
           InterleavedLevels<R>(), AbTail<R>(), AllTail<R>(), ExFields<R>())
QRX_STREAM(ZPMDefine_TickData_Index_EX, 64, 14, IndexFields<R>(), ExFields<R>())
QRX_STREAM(ZPMDefine_TickData_Index_ACC_EX, 80, 16, IndexFields<R>(), AccFields<R>(), ExFields<R>())
QRX_STREAM(ZPMDefine_TickData_Index_ALL_EX, 80, 16, IndexFields<R>(), AccFields<R>(), ExFields<R>())
QRX_STREAM(ZPMDefine_Tick_Night, 90, 20, QRX_SCALAR(R, nDate), BaseFields<R>(), AccFields<R>(),
           ExFields<R>(), QRX_ARRAY(R, nIndexField))
QRX_STREAM(ZPMDefine_Tick_AB_Night, 274, 64, QRX_SCALAR(R, nDate), BaseFields<R>(), AccFields<R>(),
           LevelArrays<R>(), AbTail<R>(), ExFields<R>(), QRX_ARRAY(R, nIndexField))
QRX_STREAM(ZPMDefine_Transaction, 18, 6, QRX_SCALAR(R, nTime), QRX_SCALAR(R, nIndex),
           QRX_SCALAR(R, chFlag1), QRX_SCALAR(R, chFlag2), QRX_ARRAY(R, nTradeValue))
QRX_STREAM(ZPMDefine_Transaction_v2, 27, 9, QRX_SCALAR(R, nTime), QRX_SCALAR(R, nIndex),
           QRX_SCALAR(R, chFlag1), QRX_SCALAR(R, chFlag2), QRX_SCALAR(R, chFlag3),
           QRX_ARRAY(R, nTradeValue), QRX_SCALAR(R, nTradeValue4))
QRX_STREAM(ZPMDefine_Order, 18, 6, QRX_SCALAR(R, nTime), QRX_SCALAR(R, nIndex),
           QRX_SCALAR(R, chFlag1), QRX_SCALAR(R, chFlag2), QRX_SCALAR(R, nOrderValue1),
           QRX_SCALAR(R, nOrderValue2))
QRX_STREAM(ZPMDefine_Order_v2, 22, 7, QRX_SCALAR(R, nTime), QRX_SCALAR(R, nOrderField),
           QRX_SCALAR(R, nIndex), QRX_SCALAR(R, chFlag1), QRX_SCALAR(R, chFlag2),
           QRX_SCALAR(R, nOrderValue1), QRX_SCALAR(R, nOrderValue2))
QRX_STREAM(ZPMDefine_OrderQueue, 220, 55, QRX_SCALAR(R, nTime), QRX_ARRAY(R, nQueueField),
           QRX_ARRAY(R, nQueueItems))

}  // namespace qrx::codec

#endif
