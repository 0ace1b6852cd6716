// See the header; both forms of the request and both snapshots are filled by one template each.
#include "futures/converters.h"

#include "session/code_table.h"

namespace {

template <class Request>
void FillRequest(const QRXDefine_ReqFuture& req, Request& out) {
    out = Request{};
    BusinessConvertor::VelaCode2GQCode(out.chCode, sizeof out.chCode, out.chMarket,
                                       sizeof out.chMarket, req.chCode, sizeof req.chCode);
    strupr_n(out.chMarket, sizeof out.chMarket);
    BusinessConvertor::NormalizeCode(out.chCode, sizeof out.chCode, out.chCode, sizeof out.chCode,
                                     out.chMarket, sizeof out.chMarket);
    out.nDate = req.nBeginDate;
    out.nBeginTime = 0;
    out.nEndTime = -1;
}

template <class Body, class Record>
void FillSnapshot(Record& dst, const Body& src, const std::string& strVelaCode,
                  const std::string& strCode, int nHead4, int nHead2, int nHead3) {
    memset(static_cast<void*>(&dst), 0, sizeof dst);
    qrx::FillField(dst.chVelaCode, strVelaCode.c_str(), sizeof dst.chVelaCode);
    qrx::FillField(dst.chCode, strCode.c_str(), sizeof dst.chCode);
    qrx::codec::MoveFields(src, dst);
    dst.nDayRef1 = nHead4;
    dst.nDayRef2 = nHead2;
    dst.nDayRef3 = nHead3;
}

}  // namespace

namespace BusinessConvertor {

void T2HReqFuture(const QRXDefine_ReqFuture& req, ZPMDefine_RequestFuture& out) {
    FillRequest(req, out);
}
void T2HReqOption(const QRXDefine_ReqFuture& req, ZPMDefine_RequestOption& out) {
    FillRequest(req, out);
}

void HFuture2T(QRXDefine_Future& dst, const ZPMDefine_Future_Night& src,
               const std::string& strVelaCode, const std::string& strCode, int nHead4, int nHead2,
               int nHead3) {
    FillSnapshot(dst, src, strVelaCode, strCode, nHead4, nHead2, nHead3);
}
void HFutureAB2T(QRXDefine_FutureAB& dst, const ZPMDefine_Future_AB_Night& src,
                 const std::string& strVelaCode, const std::string& strCode, int nHead4, int nHead2,
                 int nHead3) {
    FillSnapshot(dst, src, strVelaCode, strCode, nHead4, nHead2, nHead3);
}

}  // namespace BusinessConvertor
