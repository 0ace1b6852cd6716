/* One security of a market's code table. Packed, little-endian. */
#ifndef QRX_CODE_H
#define QRX_CODE_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#pragma pack(push, 1)

/* Kinds of security by nType: below 16 an index; 112 to 125 a futures contract;
 * (nType & 0xF0) == 144 an option; everything else an ordinary security. */
typedef struct QRXDefine_Code {
    char szVelaCode[32]; /* public form: code, ".", market, such as 600000.SH */
    char szCode[32];     /* the server's code, at most 16 characters */
    char szMarket[8];    /* market name, at most 7 characters */
    char szName[32];     /* name in the server's encoding, not necessarily terminated */
    char chReserved[32]; /* zero */
    int32_t nType;       /* security type */
} QRXDefine_Code;

#pragma pack(pop)

#ifdef __cplusplus
}
#endif
#endif
