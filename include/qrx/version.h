/* Version of the qrx client library that these headers belong to. */
#ifndef QRX_VERSION_H
#define QRX_VERSION_H

#define QRX_VERSION_MAJOR 1
#define QRX_VERSION_MINOR 0
#define QRX_VERSION_PATCH 0
#define QRX_VERSION_STRING "1.0.0"

#endif
