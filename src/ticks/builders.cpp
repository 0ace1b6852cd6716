// The request builders.
#include "session/code_table.h"
#include "support/date_time.h"
#include "support/strings.h"
#include "ticks/converters.h"

namespace {

constexpr uint32_t kTickMark = 0x80000000U;
constexpr uint32_t kOrderMark = 0x22222222U;  // orders only: part of the protocol

// Code, market, day and time bounds, which every day request has under the same names.
template <class Request>
void FillDayRequest(const char (&chCode)[32], Request& out, int nDate, int nBeginTime,
                    int nEndTime) {
    out = Request{};
    BusinessConvertor::VelaCode2GQCode(out.chCode, sizeof out.chCode, out.chMarket,
                                       sizeof out.chMarket, chCode, sizeof chCode);
    strupr_n(out.chMarket, sizeof out.chMarket);
    BusinessConvertor::NormalizeCode(out.chCode, sizeof out.chCode, out.chCode, sizeof out.chCode,
                                     out.chMarket, sizeof out.chMarket);
    out.nDate = nDate > 0 ? nDate : DateTimeInfo().ToYYMMDD();
    out.nBeginTime = nBeginTime > 0 ? nBeginTime : 0;
    out.nEndTime = nEndTime > 0 ? nEndTime : -1;
}

void FillSaveRequest(const QRXDefine_ReqTransaction& req, ZPMDefine_RequestSaveData& out,
                     int nDataKind, uint32_t nMark, int nDate, int nBeginTime, int nEndTime) {
    FillDayRequest(req.chCode, out, nDate, nBeginTime, nEndTime);
    out.nDataKind = nDataKind;
    out.nReqMark = nMark;
}

}  // namespace

namespace BusinessConvertor {

void T2HReqTick(const QRXDefine_ReqTick& req, ZPMDefine_RequestTickData& out, int nFlags, int nDate,
                int nBeginTime, int nEndTime) {
    FillDayRequest(req.chCode, out, nDate, nBeginTime, nEndTime);
    out.nFlags = nFlags;
    out.nReqMark |= kTickMark;
}

void T2HReqTransaction(const QRXDefine_ReqTransaction& req, ZPMDefine_RequestSaveData& out,
                       int nDate, int nBeginTime, int nEndTime) {
    FillSaveRequest(req, out, 0, 0, nDate, nBeginTime, nEndTime);
}

void T2HReqOrder(const QRXDefine_ReqOrder& req, ZPMDefine_RequestSaveData& out, int nDate,
                 int nBeginTime, int nEndTime) {
    FillSaveRequest(req, out, 2, kOrderMark, nDate, nBeginTime, nEndTime);
}

void T2HReqOrderQueue(const QRXDefine_ReqOrderQueue& req, ZPMDefine_RequestSaveData& out, int nDate,
                      int nBeginTime, int nEndTime) {
    FillSaveRequest(req, out, 1, 0, nDate, nBeginTime, nEndTime);
}

}  // namespace BusinessConvertor
