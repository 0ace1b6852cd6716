/* Records with which a session is opened, and the outcome of the login.
 * Natural alignment, no padding between the fields; text fields are fixed arrays.
 * A text that fills its field needs no terminating NUL. */
#ifndef QRX_SESSION_H
#define QRX_SESSION_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Where to connect, as whom, and how patient to be. Only read by the library. */
typedef struct OPEN_SETTINGS {
    char szIP[24];        /* server address, dotted IPv4 text; host names are not resolved */
    char szPort[8];       /* server port, decimal text */
    char szUser[32];      /* user name */
    char szPassword[32];  /* password */
    uint32_t nTimeOutVal; /* receive time-out in seconds; 0 means 120 */
    uint32_t nRetryCount; /* repetitions of a request whose connection failed; 0 means none */
    uint32_t nRetryGap;   /* seconds to wait before each reconnect; 0 means 1 */
} OPEN_SETTINGS;

/* Proxy protocols. Any other value in QRX_PROXY_SETTING stops the process. */
typedef uint32_t QRX_PROXY_TYPE;
#define QRX_PROXY_SOCKS4 ((QRX_PROXY_TYPE)0)  /* SOCKS 4, user as the user id */
#define QRX_PROXY_SOCKS4A ((QRX_PROXY_TYPE)1) /* SOCKS 4A, address sent as text */
#define QRX_PROXY_SOCKS5 ((QRX_PROXY_TYPE)2)  /* SOCKS 5; user and password by RFC 1929 */
#define QRX_PROXY_HTTP ((QRX_PROXY_TYPE)3)    /* HTTP CONNECT; user and password as Basic */

typedef struct QRX_PROXY_SETTING {
    QRX_PROXY_TYPE nProxyType; /* QRX_PROXY_* */
    char szProxyHostIp[32];    /* proxy address, dotted IPv4 text */
    char szProxyPort[8];       /* proxy port, decimal text */
    char szProxyUser[32];      /* may be empty */
    char szProxyPwd[32];       /* may be empty */
} QRX_PROXY_SETTING;

/* Outcome of an open. Zeroed by the library before anything else happens. */
typedef struct QRXDefine_ResLogin {
    char szInfo[64];          /* outcome text: the server's own when it refused the login */
    int32_t nMarkets;         /* markets the user may query, fewer than 32 */
    char szMarket[256][8];    /* their names, at most 4 characters each, in the server's order */
    int32_t nMarketInfo[256]; /* the server's non-zero per-market values, in order */
} QRXDefine_ResLogin;

#ifdef __cplusplus
}
#endif
#endif
