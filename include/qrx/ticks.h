/* Ticks, transactions, orders and order queues: requests and result records.
 * Packed, little-endian. Dates are YYYYMMDD, times HHMMSSmmm (9:30:00.000 is 93000000);
 * prices, volumes and amounts are the server's integers, never rescaled. Fields with
 * general names carry the server's values unchanged: share/fields.def lists what the
 * reference server puts there. */
#ifndef QRX_TICKS_H
#define QRX_TICKS_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#pragma pack(push, 1)

typedef struct QRXDefine_ReqTick {
    char chCode[32];    /* security in public form, such as 600000.SH */
    int32_t nBeginDate; /* first day; 0 or less means today */
    int32_t nEndDate;   /* last day; less than 1 means the first day */
    int32_t nBeginTime; /* lower time bound on the first day; 0 means none */
    int32_t nEndTime;   /* upper time bound on the last day; 0 means none */
} QRXDefine_ReqTick;

typedef struct QRXDefine_ReqTransaction {
    char chCode[32];
    int32_t nBeginDate;
    int32_t nEndDate;
    int32_t nBeginTime;
    int32_t nEndTime;
} QRXDefine_ReqTransaction;

typedef QRXDefine_ReqTransaction QRXDefine_ReqOrder;
typedef QRXDefine_ReqTransaction QRXDefine_ReqOrderQueue;

/* Snapshot without book levels, 154 bytes. */
typedef struct QRXDefine_Tick {
    char chVelaCode[32]; /* public code */
    char chCode[32];     /* exchange code */
    int32_t nDate;
    int32_t nTime;
    int32_t nPrice;
    int64_t iVolume;
    int64_t iTurnover;
    int32_t nTickField1;
    int32_t nTickField2;
    int8_t chTickFlag1;
    int8_t chTickFlag2;
    int64_t iAccVolume;
    int64_t iAccTurnover;
    int32_t nExt[4];
    int32_t nIndexField[5];
} QRXDefine_Tick;

/* Snapshot with ten book levels, level 0 first in each array, 338 bytes. */
typedef struct QRXDefine_TickAB {
    char chVelaCode[32];
    char chCode[32];
    int32_t nDate;
    int32_t nTime;
    int32_t nPrice;
    int64_t iVolume;
    int64_t iTurnover;
    int32_t nTickField1;
    int32_t nTickField2;
    int8_t chTickFlag1;
    int8_t chTickFlag2;
    int64_t iAccVolume;
    int64_t iAccTurnover;
    int32_t nExt[4];
    int32_t nBook1[10];
    int32_t nBook2[10];
    int32_t nBook3[10];
    int32_t nBook4[10];
    int32_t nABField1;
    int32_t nABField2;
    int64_t iABField3;
    int64_t iABField4;
    int32_t nIndexField[5];
} QRXDefine_TickAB;

/* One trade, 95 bytes. The index stands before the time here. */
typedef struct QRXDefine_Transaction {
    char chVelaCode[32];
    char chCode[32];
    int32_t nDate;
    int32_t nIndex;
    int32_t nTime;
    int8_t chFlag1;
    int8_t chFlag2;
    int8_t chFlag3;
    int32_t nTradeValue[3];
    int32_t nTradeValue4;
} QRXDefine_Transaction;

/* One order, 90 bytes. */
typedef struct QRXDefine_Order {
    char chVelaCode[32];
    char chCode[32];
    int32_t nDate;
    int32_t nIndex;
    int32_t nTime;
    int32_t nOrderField;
    int8_t chFlag1;
    int8_t chFlag2;
    int32_t nOrderValue1;
    int32_t nOrderValue2;
} QRXDefine_Order;

/* The queue at one price, 288 bytes; entries beyond the queue's length are 0. */
typedef struct QRXDefine_OrderQueue {
    char chVelaCode[32];
    char chCode[32];
    int32_t nDate;
    int32_t nTime;
    int32_t nQueueField[4];
    int32_t nQueueItems[50];
} QRXDefine_OrderQueue;

#pragma pack(pop)

#ifdef __cplusplus
}
#endif
#endif
