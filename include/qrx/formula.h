/* Formulas: the records of adding, listing, deleting and evaluating them.
 * Natural alignment; reserved bytes are zero in what the library writes. */
#ifndef QRX_FORMULA_H
#define QRX_FORMULA_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define QRX_FORMULA_MAX_FIELDS 50 /* columns that one calculation can return */

/* Answer to an add, 204 bytes. */
typedef struct QRXDefine_AddFormulaRes {
    int32_t nAddResult;  /* the server's detail value */
    char szAddInfo[128]; /* the server's text */
    char chReserved1[4];
    char chAddExtra[64]; /* handed through from the server */
    char chReserved2[4];
} QRXDefine_AddFormulaRes;

/* Answer to a delete, 96 bytes. A refusal is told by szDelInfo only. */
typedef struct QRXDefine_DelFormulaRes {
    char szFormulaName[24];
    char chReserved1[4];
    char szDelInfo[64]; /* the server's text */
    char chReserved2[4];
} QRXDefine_DelFormulaRes;

/* One stored formula, 160 bytes. */
typedef struct QRXDefine_FormulaItem {
    char szFormulaName[24];
    char chReserved1[4];
    char szFormulaText[128]; /* the first 128 bytes of the text */
    char chReserved2[4];
} QRXDefine_FormulaItem;

/* Request of a calculation, 120 bytes. */
typedef struct QRXDefine_ReqCalcFormula {
    char szFormulaName[28]; /* at most 24 characters are read */
    char szParam[32];       /* parameter text, such as N=5;M=20 */
    char szVelaCode[32];    /* security in public form; 8 characters of its code are sent */
    int32_t nCycType;       /* CYCTYPE */
    int32_t nCycDef;        /* multiple of the cycle; below 1 means 1 */
    int32_t nCQFlag;    /* price adjustment: 2 reaches the server, everything else is sent as 0 */
    int32_t nBeginDate; /* these four are handed through to the server */
    int32_t nEndDate;   /* sent as 0 when not positive */
    int32_t nBeginTime;
    int32_t nEndTime;
} QRXDefine_ReqCalcFormula;

/* Columns of a calculation, 1872 bytes. Release with QRX_ReleaseCalcFormula. */
typedef struct QRXDefine_CalcFormulaRes {
    char szVelaCode[32];
    char szCode[8]; /* the server's code, not necessarily terminated */
    char chReserved[24];
    int32_t nRecordCount; /* rows */
    int32_t nFieldCount;  /* columns filled */
    char chFieldName[QRX_FORMULA_MAX_FIELDS]
                    [28]; /* "Date", "Time" if present, then the indicators */
    int32_t*
        pnFieldData[QRX_FORMULA_MAX_FIELDS]; /* nRecordCount values a column, owned by the result */
} QRXDefine_CalcFormulaRes;

#ifdef __cplusplus
}
#endif
#endif
