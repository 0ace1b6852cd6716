// Bars and snapshots of the real server through the library: completing them loses no volume, bars
// whatever the multiple, since the server places them on the very grid of completion.
#include <gtest/gtest.h>

#include "support/scripted_server.h"
#include "support/server_process.h"

namespace qrx::test {
namespace {

constexpr int kFirstDay = 20240105;  // a Friday; the next trading day's night is this evening
constexpr int kLastDay = 20240108;

void Must(const std::vector<std::string>& vecArguments) {
    const CommandResult result = RunServerCommand(vecArguments);
    ASSERT_EQ(result.nExit, 0) << result.strOutput;
}

struct Sum {
    int64_t iVolume = 0;
    int64_t iTurnover = 0;
    int64_t nTrades = 0;
    int nBars = 0;
    bool operator==(const Sum& other) const {
        return iVolume == other.iVolume && iTurnover == other.iTurnover && nTrades == other.nTrades;
    }
};

Sum Fetch(void* h, const char* szCode, int nCycType, int nCycDef, bool bComplete) {
    auto request = RequestFor<QRXDefine_ReqKLine>(szCode, kFirstDay, kLastDay);
    request.nCycType = nCycType;
    request.nCycDef = nCycDef;
    request.nAutoComplete = bComplete ? 1 : 0;
    QRXDefine_KLine* pBars = nullptr;
    Sum sum;
    EXPECT_EQ(QRX_GetKLine(h, &request, &pBars, &sum.nBars), 0) << szCode << " " << nCycDef;
    for (int i = 0; i < sum.nBars; ++i) {
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
    Sum sum;
    EXPECT_EQ(QRX_GetFuture(h, &request, &pSnapshots, &sum.nBars), 0) << szCode;
    for (int i = 0; i < sum.nBars; ++i) {
        if (pSnapshots[i].nDate != kLastDay || pSnapshots[i].nTime < 85000000) continue;
        sum.iVolume += pSnapshots[i].iVolume;
        sum.iTurnover += pSnapshots[i].iTurnover;
    }
    QRX_Free(pSnapshots);
    return sum;
}

TEST(CompletionTest, NoVolumeIsLost) {
    if (!HaveServer()) GTEST_SKIP() << "qrx-server is not built here";
    const ScratchFolder folder;
    const std::string strDb = folder.Path("s.db");
    Must({"init", "--db", strDb});
    Must({"user", "add", "user", "--markets", "SH,SHF,DCE,CZC,CF", "--password-file",
          folder.Write("password", "secret\n"), "--db", strDb});
    Must({"simulate", "--db", strDb, "--days", "3", "--end", std::to_string(kLastDay)});
    const ServerProcess server(folder, strDb);
    Session session(server.Port(), 60);
    ASSERT_NE(session.Get(), nullptr) << session.Login().szInfo;
    QRXDefine_Code* pCodes = nullptr;
    int nCodes = 0;
    ASSERT_EQ(QRX_GetCodeTable(session.Get(), "", &pCodes, &nCodes), 0);
    for (int i = 0; i < nCodes; ++i) {
        const char* szCode = pCodes[i].szVelaCode;
        const Sum all = Fetch(session.Get(), szCode, CYC_MINUTE, 1, false);
        EXPECT_GT(all.iVolume, 0) << szCode;
        for (int nMultiple = 1; nMultiple <= 120; ++nMultiple) {
            const Sum plain = Fetch(session.Get(), szCode, CYC_MINUTE, nMultiple, false);
            const Sum completed = Fetch(session.Get(), szCode, CYC_MINUTE, nMultiple, true);
            EXPECT_EQ(plain, all) << szCode << " " << nMultiple;
            EXPECT_EQ(completed, all) << szCode << " " << nMultiple;
            EXPECT_GE(completed.nBars, plain.nBars);
        }
        for (const int nSeconds : {7, 30, 60}) {
            EXPECT_EQ(Fetch(session.Get(), szCode, CYC_SECOND, nSeconds, true),
                      Fetch(session.Get(), szCode, CYC_SECOND, nSeconds, false))
                << szCode << " " << nSeconds << " s";
        }
        if (pCodes[i].nType < 112) continue;  // neither a contract nor an option
        const Sum snapshots = FetchSnapshots(session.Get(), szCode, false);
        EXPECT_GT(snapshots.iVolume, 0) << szCode;
        EXPECT_EQ(FetchSnapshots(session.Get(), szCode, true), snapshots) << szCode;
    }
    QRX_Free(pCodes);
}

}  // namespace
}  // namespace qrx::test
