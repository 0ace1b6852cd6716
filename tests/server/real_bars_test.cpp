// Files of real bars go in by import's options and come back through the library, and every row
// agrees. The files are read a second time here, in the plainest way. They are not part of the
// project: the folder is named by QRX_REAL_DATA, and without it these tests are skipped.
#include <algorithm>
#include <array>
#include <filesystem>

#include "server/csv_table.h"
#include "server/test_store.h"

namespace qrx::test {
namespace {

struct BarFile {
    const char* szFiles;  // a file, or a folder of files that belong together
    const char* szCode;   // "ru1901.SHF"
    int nMinutes;         // that a bar covers; 0: a day
    int nLabelMinutes;    // from a bar's begin to the time that names it
    const char* szMap;    // as --map takes it: theirs=ours,...
    double fVolumeUnit;
    double fTurnoverUnit;
    const char* szOptions;  // beyond --map and --set
};

const char* const kStockMap = "ts_code=code,trade_date=date,vol=volume,amount=turnover";
const char* const kFutureMap = "BeginTime=datetime,Amount=turnover,EndOpenInt=open_interest";
const char* const kDayMap = "Amount=turnover,EndOpenInt=open_interest";
const char* const kBarMap =
    "local_symbol=code,open_price=open,close_price=close,high_price=high,low_price=low";
const char* const kLots = "--cycle day --volume-unit 100 --turnover-unit 1000";
const BarFile kFiles[] = {
    {"bars-if-600009-600000/SSE.600009Q_m1.csv.gz", "600009.SH", 1, 1, "", 1, 1,
     "--label end --encoding gbk"},
    {"bars-if-600009-600000/CFFEX.IF.HOT_m5.2019.csv.gz", "IFHOT.CF", 5, 5, "", 1, 1,
     "--label end --cycle 5m"},
    {"bars-if-600009-600000/SSE.600000Q_d.csv.gz", "600000.SH", 0, 0, "volumn=volume", 1, 1,
     "--cycle day"},
    {"futures-bars-ru1901/min1-by-tradingday", "ru1901.SHF", 1, 0, kFutureMap, 1, 1, ""},
    {"futures-bars-ru1901/ru1901.day.csv", "ru1901.SHF", 0, 0, kDayMap, 1, 1, "--cycle day"},
    {"futures-minute-bars-rb2401/kline.csv", "rb2401.SHF", 1, 1, kBarMap, 1, 1, "--label end"},
    {"daily-stocks-indexes/000001.SZ.csv", "000001.SZ", 0, 0, kStockMap, 100, 1000, kLots},
    {"daily-stocks-indexes/600000.SH.csv", "600000.SH", 0, 0, kStockMap, 100, 1000, kLots},
    {"daily-stocks-indexes/000300.csv", "000300.SH", 0, 0, "", 1, 1, "--cycle day"},
    {"daily-stocks-indexes/000905.csv", "000905.SH", 0, 0, "", 1, 1, "--cycle day"},
};

void PrintTo(const BarFile& file, std::ostream* pStream) {
    *pStream << file.szFiles;
}

// The file's name of one of our columns; "" when it has none.
std::string ColumnOf(const Table& table, const BarFile& file, const std::string& strOurs) {
    std::string strTheirs = strOurs;
    std::istringstream pairs(file.szMap);
    for (std::string str; std::getline(pairs, str, ',');) {
        if (str.ends_with("=" + strOurs)) strTheirs = str.substr(0, str.find('='));
    }
    for (const auto& [strName, nColumn] : table.mapColumns) {
        std::string strPlain = strName;
        std::erase_if(strPlain, [](char ch) { return ch == '<' || ch == '>'; });
        if (strcasecmp(strPlain.c_str(), strTheirs.c_str()) == 0) return strName;
    }
    return "";
}

// Open, high, low, close, volume, turnover, open interest, by date and HHMM of the begin.
using Values = std::array<int64_t, 7>;
using RowMap = std::map<std::pair<int, int>, Values>;

void AddRows(const Table& table, const BarFile& file, RowMap& rows) {
    const auto number = [&](size_t i, const char* szOurs, double f) {
        const std::string strColumn = ColumnOf(table, file, szOurs);
        return strColumn.empty() ? 0 : table.Number(i, strColumn, f);
    };
    const std::string strBoth = ColumnOf(table, file, "datetime");
    const bool bNewestFirst = std::string(file.szCode) == "rb2401.SHF";
    for (size_t n = 0; n < table.vecRows.size(); ++n) {
        const size_t i = bNewestFirst ? table.vecRows.size() - 1 - n : n;
        const std::string strDate =
            table.Text(i, strBoth.empty() ? ColumnOf(table, file, "date") : strBoth);
        int y = 0, m = 0, d = 0;
        if (sscanf(strDate.c_str(), "%d%*[-/]%d%*[-/]%d", &y, &m, &d) < 3) {
            y = std::atoi(strDate.c_str()) / 10000;
            m = std::atoi(strDate.c_str()) / 100 % 100;
            d = std::atoi(strDate.c_str()) % 100;
        }
        int nTime = 0;
        if (file.nMinutes > 0) {
            const std::string strTime = !strBoth.empty()
                                            ? strDate.substr(strDate.find(' '))
                                            : table.Text(i, ColumnOf(table, file, "time"));
            int nHour = 0, nMinute = 0;
            ASSERT_EQ(2, sscanf(strTime.c_str(), "%d:%d", &nHour, &nMinute)) << strTime;
            nMinute += nHour * 60 - file.nLabelMinutes;
            nTime = nMinute / 60 * 100 + nMinute % 60;
            if (nTime == 2059 || nTime == 859) nTime += 41;  // auctions, a minute early
        }
        const Values row = {number(i, "open", 10000),
                            number(i, "high", 10000),
                            number(i, "low", 10000),
                            number(i, "close", 10000),
                            number(i, "volume", file.fVolumeUnit),
                            number(i, "turnover", file.fTurnoverUnit * 10000),
                            number(i, "open_interest", 1)};
        const auto [it, bNew] = rows.emplace(std::pair(y * 10000 + m * 100 + d, nTime), row);
        if (bNew) continue;
        Values& all = it->second;
        all = {all[0], std::max(all[1], row[1]), std::min(all[2], row[2]),
               row[3], all[4] + row[4],          all[5] + row[5],
               row[6]};
    }
}

class RealBarsTest : public StoreTest, public testing::WithParamInterface<BarFile> {};

TEST_P(RealBarsTest, EveryRowComesBack) {
    const char* szFolder = std::getenv("QRX_REAL_DATA");
    if (szFolder == nullptr) GTEST_SKIP() << "QRX_REAL_DATA names no folder of real data";
    const BarFile& file = GetParam();
    const std::string strCode = file.szCode;
    const bool bIndex = strCode.starts_with("000300") || strCode.starts_with("000905");
    AddUser("user", "SH,SZ,SHF,CF");
    Import("codes", "code,type\n" + strCode + (bIndex ? ",index\n" : ",stock\n"));

    const std::string strPath = std::string(szFolder) + "/" + file.szFiles;
    std::vector<std::string> vecFiles = {strPath};
    if (std::filesystem::is_directory(strPath)) {
        vecFiles.clear();
        for (const auto& entry : std::filesystem::directory_iterator(strPath)) {
            vecFiles.push_back(entry.path());
        }
    }
    RowMap rows;
    std::vector<std::string> vecCommand = {"import", "bars"};
    for (const std::string& strFile : vecFiles) {
        const Table table(strFile);
        ASSERT_NO_FATAL_FAILURE(AddRows(table, file, rows));
        vecCommand.push_back(strFile);
        std::string strSet = "market=" + strCode.substr(strCode.find('.') + 1);
        if (ColumnOf(table, file, "code").empty()) strSet += ",code=" + strCode;
        if (&strFile == &vecFiles.back()) vecCommand.insert(vecCommand.end(), {"--set", strSet});
    }
    if (*file.szMap != '\0') vecCommand.insert(vecCommand.end(), {"--map", file.szMap});
    std::istringstream options(file.szOptions);
    for (std::string str; options >> str;) vecCommand.push_back(str);
    ASSERT_NO_FATAL_FAILURE(Must(vecCommand));
    ASSERT_GT(rows.size(), 200U);

    const ServerProcess server(m_folder, m_strDb);
    Session session(server.Port(), 60);
    ASSERT_NE(session.Get(), nullptr) << session.Login().szInfo;
    auto request = RequestFor<QRXDefine_ReqKLine>(file.szCode, 19900101, 20301231);
    request.nCycType = file.nMinutes > 0 ? CYC_MINUTE : CYC_DAY;
    request.nCycDef = file.nMinutes;
    QRXDefine_KLine* pBars = nullptr;
    int nBars = 0;
    ASSERT_EQ(QRX_GetKLine(session.Get(), &request, &pBars, &nBars), QRX_OK);
    ASSERT_EQ(rows.size(), static_cast<size_t>(nBars));
    int64_t iVolume = 0;
    const QRXDefine_KLine* pBar = pBars;
    for (const auto& [stamp, values] : rows) {
        const QRXDefine_KLine& bar = *pBar++;
        ASSERT_EQ(stamp, std::pair(int{bar.nDate}, bar.nTime / 100000));
        const Values served = {bar.nOpen,   bar.nHigh,     bar.nLow,     bar.nClose,
                               bar.iVolume, bar.iTurnover, bar.nInterest};
        ASSERT_EQ(values, served) << stamp.first << " " << stamp.second;
        iVolume += bar.iVolume;
    }
    QRX_Free(pBars);

    // Coarser bars and completed ones lose nothing.
    for (const int nMultiple : {file.nMinutes, 5, 15, 35, 60, 120}) {
        for (int nComplete = 0; nComplete <= 1 && file.nMinutes > 0; ++nComplete) {
            request.nCycDef = nMultiple;
            request.nAutoComplete = nComplete;
            ASSERT_EQ(QRX_GetKLine(session.Get(), &request, &pBars, &nBars), QRX_OK);
            int64_t iSum = 0;
            for (int i = 0; i < nBars; ++i) iSum += pBars[i].iVolume;
            EXPECT_EQ(iVolume, iSum) << nMultiple << " " << nComplete;
            QRX_Free(pBars);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Files, RealBarsTest, testing::ValuesIn(kFiles));

}  // namespace
}  // namespace qrx::test
