/* Futures and option snapshots: request and result records. Packed, little-endian.
 * Dates are YYYYMMDD, times HHMMSSmmm; values with general names are the server's, unchanged. */
#ifndef QRX_FUTURES_H
#define QRX_FUTURES_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#pragma pack(push, 1)

/* Request of snapshots, 52 bytes. */
typedef struct QRXDefine_ReqFuture {
    char chCode[32];    /* contract in public form */
    int32_t nBeginDate; /* first trading day; 0 or less means today */
    int32_t nEndDate;   /* last trading day; 0 or less means the first day */
    int32_t nBeginTime; /* earliest time on the first day; 0 or less means no limit */
    int32_t nEndTime;   /* latest time on the last day; 0 or less means no limit */
    int32_t
        nAutoComplete; /* non-zero: each day is completed onto its exchange's half-second grid */
} QRXDefine_ReqFuture;

/* Snapshot, 145 bytes. chVelaCode and chCode of 32 characters have no terminator. */
typedef struct QRXDefine_Future {
    char chVelaCode[32];
    char chCode[32];
    int32_t nDate;
    int32_t nTime;
    int64_t iVolume;   /* of this snapshot */
    int64_t iTurnover; /* of this snapshot */
    int32_t nSettle;   /* settlement price; 0 while not yet known */
    int32_t nPosition; /* open interest */
    int32_t nAuxValue;
    char chFlag;
    int64_t iAccVolume;   /* running total of iVolume over the day's answer */
    int64_t iAccTurnover; /* running total of iTurnover over the day's answer */
    int32_t nValue1;
    int32_t nValue2;
    int32_t nValue3;
    int32_t nValue0;
    int32_t nDayRef1; /* the same for every record of one answer packet, as the next two */
    int32_t nDayRef2;
    int32_t nDayRef3;
} QRXDefine_Future;

/* Snapshot with five book levels, index 0 is level 1, 225 bytes. */
typedef struct QRXDefine_FutureAB {
    char chVelaCode[32];
    char chCode[32];
    int32_t nDate;
    int32_t nTime;
    int64_t iVolume;
    int64_t iTurnover;
    int32_t nSettle;
    int32_t nPosition;
    int32_t nAuxValue;
    char chFlag;
    int64_t iAccVolume;
    int64_t iAccTurnover;
    int32_t nValue1;
    int32_t nValue2;
    int32_t nValue3;
    int32_t nValue0;
    int32_t nBook1[5];
    int32_t nBook2[5];
    int32_t nBook3[5];
    int32_t nBook4[5];
    int32_t nDayRef1;
    int32_t nDayRef2;
    int32_t nDayRef3;
} QRXDefine_FutureAB;

#pragma pack(pop)

#ifdef __cplusplus
}
#endif
#endif
