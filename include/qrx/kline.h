/* K-line bars: cycles, request and result record. Packed, little-endian.
 * Dates are YYYYMMDD, times HHMMSSmmm; prices, volumes and amounts are the server's integers. */
#ifndef QRX_KLINE_H
#define QRX_KLINE_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Bar cycles. The multiple of a cycle stands beside it (nCycDef): 5 with CYC_MINUTE is five
 * minutes. */
typedef enum CYCTYPE {
    CYC_SECOND = 0,
    CYC_MINUTE = 1,
    CYC_DAY = 2,
    CYC_WEEK = 3,
    CYC_MONTH = 4,
    CYC_QUARTER = 5,
    CYC_HALFYEAR = 6,
    CYC_YEAR = 7
} CYCTYPE;

#pragma pack(push, 1)

/* Request of bars, 72 bytes. */
typedef struct QRXDefine_ReqKLine {
    char chCode[32];       /* security in public form */
    int32_t nModeFlag;     /* price mode of the server: 1, 2, or anything else for none */
    int32_t nModeDate;     /* date that goes with nModeFlag; below 1 means none */
    int32_t nModeSwitch;   /* non-zero is sent as 1 */
    int32_t nCycType;      /* CYCTYPE */
    int32_t nCycDef;       /* multiple of the cycle; below 1 means 1 */
    int32_t nAutoComplete; /* non-zero: second and minute bars are laid onto the session grid */
    int32_t nBeginDate;    /* first trading day; below 1 means today */
    int32_t nEndDate;      /* last trading day; below 1 means the first day */
    int32_t nBeginTime;    /* lower time bound on the first day; 0 means none */
    int32_t nEndTime;      /* upper time bound on the last day; 0 means none */
} QRXDefine_ReqKLine;

/* One bar, 112 bytes. */
typedef struct QRXDefine_KLine {
    char chVelaCode[32];
    char chCode[32];
    int32_t nDate; /* day of the bar; a night bar keeps its calendar day */
    int32_t nTime;
    int32_t nOpen;
    int32_t nHigh;
    int32_t nLow;
    int32_t nClose;
    int64_t iVolume;
    int64_t iTurnover;
    int32_t nMatchItems; /* number of trades */
    int32_t nInterest;   /* open interest; 0 for indexes */
} QRXDefine_KLine;

#pragma pack(pop)

#ifdef __cplusplus
}
#endif
#endif
