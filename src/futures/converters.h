// Futures and options between the forms: public requests to server requests, decoded server
// records to public snapshots. Values are copied as they are.
#ifndef QRX_FUTURES_CONVERTERS_H
#define QRX_FUTURES_CONVERTERS_H

#include <qrx/futures.h>

#include <string>

#include "codec/field_map.h"
#include "codec/future_records.h"
#include "codec/wire.h"

namespace qrx::codec {

// By name, which puts the five-level record's rotated values back into place.
template <class B, class R>
consteval auto SnapshotMoves() {
    return JoinMoves(QRX_SAME(nDate), QRX_SAME(nTime), QRX_SAME(iVolume), QRX_SAME(iTurnover),
                     QRX_SAME(nSettle), QRX_SAME(nPosition), QRX_SAME(nAuxValue), QRX_SAME(chFlag),
                     QRX_SAME(nValue1), QRX_SAME(nValue2), QRX_SAME(nValue3), QRX_SAME(nValue0));
}

QRX_MOVES(ZPMDefine_Future_Night, QRXDefine_Future, SnapshotMoves<B, R>())
QRX_MOVES(ZPMDefine_Future_AB_Night, QRXDefine_FutureAB, SnapshotMoves<B, R>(), QRX_SAME(nBook1),
          QRX_SAME(nBook2), QRX_SAME(nBook3), QRX_SAME(nBook4))

}  // namespace qrx::codec

namespace BusinessConvertor {

// Zero their result first. The whole day is asked for: time bounds are applied while decoding.
// Codes are cut to 8 characters for futures, 16 for options.
void T2HReqFuture(const QRXDefine_ReqFuture& req, ZPMDefine_RequestFuture& out);
void T2HReqOption(const QRXDefine_ReqFuture& req, ZPMDefine_RequestOption& out);

// Zero the snapshot, write the codes (32 characters each at most) and the fields; the running
// totals stay 0. nHead4, nHead2 and nHead3 are those words of the packet's head, in this order.
void HFuture2T(QRXDefine_Future& dst, const ZPMDefine_Future_Night& src,
               const std::string& strVelaCode, const std::string& strCode, int nHead4, int nHead2,
               int nHead3);
void HFutureAB2T(QRXDefine_FutureAB& dst, const ZPMDefine_Future_AB_Night& src,
                 const std::string& strVelaCode, const std::string& strCode, int nHead4, int nHead2,
                 int nHead3);

}  // namespace BusinessConvertor

#endif
