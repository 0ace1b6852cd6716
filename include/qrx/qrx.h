/* qrx: history of securities from a market-data server, through nineteen C functions.
 *
 * The shortest useful program (examples/first.c is this one, compiled and run by the tests):
 *
 *     #include <qrx/qrx.h>
 *     #include <stdio.h>
 *     int main(void) {
 *         OPEN_SETTINGS settings = {"127.0.0.1", "7700", "demo", "demo", 30, 2, 1};
 *         static QRXDefine_ResLogin login;
 *         void* h = QRX_Open(&settings, &login);
 *         if (!h) return fprintf(stderr, "%s\n", login.szInfo), 1;
 *         QRXDefine_ReqTick req = {"600000.SH", 20240105, 20240105, 0, 0};
 *         QRXDefine_Tick* ticks;
 *         int count, code = QRX_GetTick(h, &req, &ticks, &count);
 *         printf("result %d, %d ticks\n", code, code ? 0 : count);
 *         if (!code) QRX_Free(ticks);
 *         return QRX_Close(h);
 *     }
 *
 * Conventions
 *  1. A security is written code, dot, market: 600000.SH. At most 31 characters.
 *  2. Dates are YYYYMMDD, times of day HHMMSSmmm, both as int32.
 *  3. Prices, volumes and amounts are the server's integers. Nothing is rescaled.
 *  4. Records are packed and little-endian; the headers beside this one declare them.
 *  5. A call that returns records stores one array and its count. On failure the array is
 *     null and the count 0; a call with an invalid argument leaves both alone, and one with
 *     an unknown handle the count of QRX_GetFuture and QRX_GetFutureAB.
 *  6. "Today" (a date of 0) is the date of this machine's local time zone.
 *
 * Who owns what
 *  | what                         | lives until             | released by            |
 *  |------------------------------|-------------------------|------------------------|
 *  | a handle                     | QRX_Close               | QRX_Close              |
 *  | an array from a call         | you release it          | QRX_Free               |
 *  | the columns of a calculation | you release them        | QRX_ReleaseCalcFormula |
 *  | what QRX_GetCodeInfo shows   | the handle is destroyed | nobody                 |
 *
 * Threads
 *  Every function may be called from any thread. Calls on different handles run in parallel;
 *  data and formula calls on one handle run one after another. QRX_Close may interrupt a call
 *  that runs on the same handle in another thread: that call returns QRX_ERR_NETWORK.
 *  QRX_GetCodeTable and QRX_GetCodeInfo read memory and do not wait for a running request.
 *  A handle belongs to the process that opened it: in a child after fork() calls on it return
 *  QRX_ERR_NETWORK, and QRX_Close there only gives the child's descriptors back.
 *
 * Assertions
 *  Broken contracts (a null array pointer where one is needed, a malformed fixed-size answer)
 *  stop the process with a line on the standard error stream, in every build.
 */
#ifndef QRX_QRX_H
#define QRX_QRX_H

#include <qrx/code.h>
#include <qrx/formula.h>
#include <qrx/futures.h>
#include <qrx/kline.h>
#include <qrx/session.h>
#include <qrx/ticks.h>
#include <qrx/version.h>

#if defined(__GNUC__)
#define QRX_API __attribute__((visibility("default")))
#else
#define QRX_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Result codes of every function that returns int. */
enum QRX_RESULT {
    QRX_OK = 0,
    QRX_ERR_NETWORK = -1,   /* connection failed or closed, or the session is not logged in */
    QRX_ERR_TIMEOUT = -2,   /* nothing arrived within the time-out; the session stays usable */
    QRX_ERR_NO_DATA = -3,   /* no record in the range, or the code is unknown */
    QRX_ERR_MEMORY = -4,    /* the result could not be allocated */
    QRX_ERR_LOGIN = -5,     /* login refused */
    QRX_ERR_TYPE = -10,     /* the security's type does not suit the call */
    QRX_ERR_ARGUMENT = -11, /* invalid argument, or an unknown or closed handle */
    QRX_ERR_FORMULA = -50,  /* the formula service refused */
    QRX_ERR_NO_CODE_TABLE = -997,  /* no code table could be retrieved */
    QRX_ERR_NO_MARKETS = -998,     /* the user is authorised for no market */
    QRX_ERR_MALFORMED_LOGIN = -999 /* malformed login answer */
};

/* -- Opening and closing ------------------------------------------------------------------ */

/* Connects, logs in and loads the code tables of every authorised market.
 * Returns a handle, or null with the reason in pLoginResult->szInfo ("invalid param." without
 * settings). pLoginResult is required in practice: the market list is read back from it. */
QRX_API void* QRX_Open(const OPEN_SETTINGS* pSettings, QRXDefine_ResLogin* pLoginResult);

/* The same through a proxy. Proxy user and password may be empty. */
QRX_API void* QRX_OpenProxy(const OPEN_SETTINGS* pSettings, QRX_PROXY_SETTING* pProxy,
                            QRXDefine_ResLogin* pLoginResult);

/* Ends the session: a call running on it in another thread returns QRX_ERR_NETWORK. Returns
 * within a second. QRX_OK once, QRX_ERR_ARGUMENT for a handle that is unknown or closed. */
QRX_API int QRX_Close(void* h);

/* Releases one array that a call of this library returned. Null is accepted. */
QRX_API void QRX_Free(void* p);

/* -- Code tables -------------------------------------------------------------------------- */

/* Copies the code table of a market (at most 8 characters, any case), or of all markets in
 * login order for null or "". QRX_ERR_NO_DATA when the market is unknown or empty. */
QRX_API int QRX_GetCodeTable(void* h, const char* szMarket, QRXDefine_Code** pCodeTable,
                             int* pCount);

/* Shows the record of one security, in any letter case, or null. The record stays readable
 * until the handle is destroyed, also across a reconnect that replaced its table. */
QRX_API const QRXDefine_Code* QRX_GetCodeInfo(void* h, const char* szVelaCode);

/* -- Ticks and trades --------------------------------------------------------------------- */

/* Snapshots of a range of days, oldest first. QRX_ERR_TYPE for futures. Days without data are
 * skipped; QRX_ERR_NO_DATA when no day has any. A day that fails fails the call. */
QRX_API int QRX_GetTick(void* h, const QRXDefine_ReqTick* pReq, QRXDefine_Tick** pData,
                        int* pCount);

/* The same with ten book levels. */
QRX_API int QRX_GetTickAB(void* h, const QRXDefine_ReqTick* pReq, QRXDefine_TickAB** pData,
                          int* pCount);

/* Trades, orders and order queues of a range of days; as QRX_GetTick, for every kind of code. */
QRX_API int QRX_GetTransaction(void* h, const QRXDefine_ReqTransaction* pReq,
                               QRXDefine_Transaction** pData, int* pCount);
QRX_API int QRX_GetOrder(void* h, const QRXDefine_ReqOrder* pReq, QRXDefine_Order** pData,
                         int* pCount);
QRX_API int QRX_GetOrderQueue(void* h, const QRXDefine_ReqOrderQueue* pReq,
                              QRXDefine_OrderQueue** pData, int* pCount);

/* -- Bars --------------------------------------------------------------------------------- */

/* Bars of one cycle for a range of trading days, in one request. With nAutoComplete set,
 * second and minute bars are laid onto their exchange's session grid, missing ones filled. */
QRX_API int QRX_GetKLine(void* h, const QRXDefine_ReqKLine* pReq, QRXDefine_KLine** pData,
                         int* pCount);

/* -- Futures and options ------------------------------------------------------------------ */

/* Snapshots of one contract, day by day; QRX_ERR_TYPE for everything but futures and options.
 * With nAutoComplete set each day is completed onto its exchange's half-second grid. */
QRX_API int QRX_GetFuture(void* h, const QRXDefine_ReqFuture* pReq, QRXDefine_Future** pData,
                          int* pCount);
QRX_API int QRX_GetFutureAB(void* h, const QRXDefine_ReqFuture* pReq, QRXDefine_FutureAB** pData,
                            int* pCount);

/* -- Formulas ----------------------------------------------------------------------------- */

/* Stores a formula under a name (23 characters reach the server). QRX_ERR_FORMULA when the
 * server refuses: its text is in pRes->szAddInfo. pRes may be null. The text must be shorter
 * than 1048576 characters: one that is longer is cut to that length, which stops the process. */
QRX_API int QRX_AddFormula(void* h, const char* szName, const char* szText,
                           QRXDefine_AddFormulaRes* pRes);

/* Lists stored formulas: one by name, or all for null or "". */
QRX_API int QRX_GetFormula(void* h, const char* szName, QRXDefine_FormulaItem** pItems,
                           int* pCount);

/* Deletes a formula. Returns QRX_OK whatever the server said: see pRes->szDelInfo. */
QRX_API int QRX_DeleteFormula(void* h, const char* szName, QRXDefine_DelFormulaRes* pRes);

/* Evaluates a stored formula over a security's bars. QRX_ERR_NO_DATA for an answer without rows. */
QRX_API int QRX_CalcFormula(void* h, const QRXDefine_ReqCalcFormula* pReq,
                            QRXDefine_CalcFormulaRes* pRes);

/* Releases the columns of a calculation and zeroes the record. Null is accepted. */
QRX_API void QRX_ReleaseCalcFormula(QRXDefine_CalcFormulaRes* pRes);

#ifdef __cplusplus
}
#endif
#endif
