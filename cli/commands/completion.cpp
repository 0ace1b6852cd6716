// See the header.
#include "commands/completion.h"

#include "app/failure.h"
#include "grids/completable.h"

namespace qrx::cli {
namespace {

void Check(grids::Kind kind, const QRXDefine_Code& code, const void* pRecords, size_t nCount,
           int nDate) {
    const std::string strWhy =
        WhyNotCompletable(kind, code, pRecords, static_cast<int>(nCount), nDate);
    if (!strWhy.empty()) throw Failure(EXIT_COMPLETION, "--complete: " + strWhy);
}

}  // namespace

void CheckCompletable(const QRXDefine_Code& code, Completed kind) {
    Check(kind == Completed::Bars ? grids::Kind::Bars : grids::Kind::Snapshots, code, nullptr, 0,
          0);
}

void CheckCompletable(const QRXDefine_Code& code, std::span<const QRXDefine_KLine> bars) {
    Check(grids::Kind::Bars, code, bars.data(), bars.size(), 0);
}

void CheckCompletable(const QRXDefine_Code& code, std::span<const QRXDefine_Future> day,
                      int nDate) {
    Check(grids::Kind::Snapshots, code, day.data(), day.size(), nDate);
}

void CheckCompletable(const QRXDefine_Code& code, std::span<const QRXDefine_FutureAB> day,
                      int nDate) {
    Check(grids::Kind::SnapshotsWithBook, code, day.data(), day.size(), nDate);
}

}  // namespace qrx::cli
