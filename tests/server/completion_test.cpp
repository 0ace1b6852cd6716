// Bars and snapshots of the real server through the library: completing them loses no volume, bars
// whatever the multiple, since the server places them on the very grid of completion.
#include "server/test_store.h"
#include "support/sanitizers.h"

namespace qrx::test {
namespace {

constexpr int kFirstDay = 20240105;  // a Friday; the next trading day's night is this evening
constexpr int kLastDay = 20240108;

struct Sum {
    int64_t iVolume = 0;
    int64_t iTurnover = 0;
    int64_t nTrades = 0;  // of bars
    bool operator==(const Sum&) const = default;
};

Sum Fetch(void* h, const char* szCode, int nCycType, int nCycDef, bool bComplete) {
    auto request = RequestFor<QRXDefine_ReqKLine>(szCode, kFirstDay, kLastDay);
    request.nCycType = nCycType;
    request.nCycDef = nCycDef;
    request.nAutoComplete = bComplete ? 1 : 0;
    QRXDefine_KLine* pBars = nullptr;
    int nBars = 0;
    Sum sum;
    EXPECT_EQ(QRX_GetKLine(h, &request, &pBars, &nBars), 0);
    for (int i = 0; i < nBars; ++i) {
        sum.iVolume += pBars[i].iVolume;
        sum.iTurnover += pBars[i].iTurnover;
        sum.nTrades += pBars[i].nMatchItems;
    }
    QRX_Free(pBars);
    return sum;
}

// What a day's snapshots from the pre-open on traded: a contract is completed onto its day grid.
Sum FetchSnapshots(void* h, const char* szCode, bool bComplete) {
    auto request = RequestFor<QRXDefine_ReqFuture>(szCode, kLastDay, kLastDay);
    request.nAutoComplete = bComplete ? 1 : 0;
    QRXDefine_Future* pSnapshots = nullptr;
    int nSnapshots = 0;
    Sum sum;
    EXPECT_EQ(QRX_GetFuture(h, &request, &pSnapshots, &nSnapshots), 0);
    for (int i = 0; i < nSnapshots; ++i) {
        if (pSnapshots[i].nDate != kLastDay || pSnapshots[i].nTime < 85000000) continue;
        sum.iVolume += pSnapshots[i].iVolume;
        sum.iTurnover += pSnapshots[i].iTurnover;
    }
    QRX_Free(pSnapshots);
    return sum;
}

TEST(CompletionTest, NoVolumeIsLost) {
    const TestStore store;
    store.AddUser("user", "SH,SHF,DCE,CZC,CF");
    store.Must({"simulate", "--days", "3", "--end", std::to_string(kLastDay)});
    const ServerProcess server(store.m_folder, store.m_strDb);
    Session session(server.Port(), 60);
    ASSERT_NE(session.Get(), nullptr) << session.Login().szInfo;
    QRXDefine_Code* pCodes = nullptr;
    int nCodes = 0;
    ASSERT_EQ(QRX_GetCodeTable(session.Get(), "", &pCodes, &nCodes), 0);
    for (int i = 0; i < nCodes; ++i) {
        const char* szCode = pCodes[i].szVelaCode;
        SCOPED_TRACE(szCode);
        const Sum all = Fetch(session.Get(), szCode, CYC_MINUTE, 1, false);
        EXPECT_GT(all.iVolume, 0);
        for (int n = 1; n <= 120; n += kThreadSanitizer ? 7 : 1) {
            EXPECT_EQ(Fetch(session.Get(), szCode, CYC_MINUTE, n, false), all) << n;
            EXPECT_EQ(Fetch(session.Get(), szCode, CYC_MINUTE, n, true), all) << n;
        }
        for (const int n : {7, 30, 60}) {
            const Sum plain = Fetch(session.Get(), szCode, CYC_SECOND, n, false);
            EXPECT_EQ(plain.iVolume, all.iVolume) << n << " s";
            EXPECT_EQ(Fetch(session.Get(), szCode, CYC_SECOND, n, true), plain) << n << " s";
        }
        if (pCodes[i].nType < 112) continue;  // neither a contract nor an option
        const Sum snapshots = FetchSnapshots(session.Get(), szCode, false);
        EXPECT_GT(snapshots.iVolume, 0);
        EXPECT_EQ(FetchSnapshots(session.Get(), szCode, true), snapshots);
    }
    QRX_Free(pCodes);
}

}  // namespace
}  // namespace qrx::test
