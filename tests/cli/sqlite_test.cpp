// Tables of SQLite: types, what is replaced and what is not, and files that are not ours to change.
#include "cli/database.h"
#include "cli/market.h"
#include "cli/served_market.h"

namespace qrx::test {
namespace {

class Tables : public MarketCli {
protected:
    void Run(const std::string& strArguments) {
        ASSERT_EQ(m_cli.Run(strArguments + " -o m.sqlite"), 0) << m_cli.Err();
        EXPECT_EQ(m_cli.Out(), "");
    }
    std::string Ask(const std::string& strSql) { return Rows(m_strFile, strSql); }

    const std::string m_strFile = m_cli.Folder() / "m.sqlite";
};

TEST_F(Tables, TypedColumnsATableAKind) {
    Run("ticks 600000.SH --from 20240105");
    Run("ticks 600000.SH --from 20240105 --book --columns price,bid_total");
    Run("codes SZ");
    EXPECT_EQ(
        Ask("SELECT code, date, time, price, typeof(price), volume, typeof(volume), turnover, "
            "phase, side FROM ticks"),
        "600000.SH|2024-01-05|09:30:00.500|7.12|real|300|integer|-2136.005|T|NULL\n");
    // What tells the rows to replace is always stored.
    EXPECT_EQ(Ask("SELECT * FROM ticks_book"),
              "600000.SH|2024-01-05|09:30:00.500|7.12|8000000000\n");
    EXPECT_EQ(Ask("SELECT * FROM codes"), "600000.SZ|other|SZ|16|security\n");
    ASSERT_EQ(m_cli.Run("trades 600000.SH --from 20240105 --raw -f sqlite -o raw"), 0);
    EXPECT_EQ(Rows(m_cli.Folder() / "raw",
                   "SELECT date, time, price, typeof(price), function, side FROM trades"),
              "20240105|93001000|71300|integer|0|66\n");
}

TEST_F(Tables, RepeatingDoublesNothing) {
    const std::string strCount = "SELECT code, date, count(*) FROM orders GROUP BY code, date";
    const std::string strBoth = "600000.SH|2024-01-05|1\n600000.SH|2024-01-08|1\n";
    Run("orders 600000.SH --from 20240105");
    Run("orders 600000.SH --from 20240105 --to 20240109");
    EXPECT_EQ(Ask(strCount), strBoth);
    Run("orders 600000.SH --from 20240108");
    EXPECT_EQ(Ask(strCount), strBoth);
    Run("codes");
    Run("codes SH");
    EXPECT_EQ(Ask("SELECT count(*), count(DISTINCT code) FROM codes"), "5|5\n");
}

// Rows of the days that were asked for make place though nothing came for them: a day is what
// follows the afternoon (16:00) of the weekday before, or what lies between --begin and --end.
TEST_F(Tables, HoldJustWhatWasAskedFor) {
    struct Case {
        const char* szAsked;
        std::vector<const char*> vecGone;
        std::vector<const char*> vecStay;
    };
    const Case kCases[] = {
        {"--from 20240105 --to 20240109",
         {"2024-01-04 16:00:00.001", "2024-01-06 02:00:00.000", "2024-01-09 16:00:00.000"},
         {"2024-01-04 16:00:00.000", "2024-01-09 16:00:00.001"}},
        {"--from 20240106 --to 20240114",  // Saturday to Sunday
         {"2024-01-05 21:00:00.000", "2024-01-06 02:00:00.000", "2024-01-12 15:00:00.000"},
         {"2024-01-05 15:00:00.000", "2024-01-12 21:00:00.000", "2024-01-13 02:00:00.000"}},
        {"--from 20240105 --to 20240109 --begin 09:00 --end 15:00",
         {"2024-01-05 09:00:00.000", "2024-01-05 21:00:00.000", "2024-01-09 15:00:00.000"},
         {"2024-01-04 21:00:00.000", "2024-01-05 08:59:59.999", "2024-01-09 15:00:00.001"}},
        {"--from 20240105 --to 20240109 --tz UTC",
         {"2024-01-04 08:00:00.001", "2024-01-09 08:00:00.000"},
         {"2024-01-04 08:00:00.000", "2024-01-09 08:00:00.001"}}};
    for (const Case& test : kCases) {
        SCOPED_TRACE(test.szAsked);
        fs::remove(m_strFile);
        const std::string strCommand = std::string("orders 600000.SH ") + test.szAsked;
        Run(strCommand);
        std::string strAll = Ask("SELECT code, date, time FROM orders");
        const auto add = [&](const std::string& strCode, const std::string& strMoment) {
            const std::string strDay = strMoment.substr(0, 10);
            const std::string strTime = strMoment.substr(11);
            Change(m_strFile, "INSERT INTO orders (code, date, time) VALUES ('" + strCode + "', '" +
                                  strDay + "', '" + strTime + "')");
            return strCode + "|" + strDay + "|" + strTime + "\n";
        };
        for (const char* szMoment : test.vecGone) add("600000.SH", szMoment);
        std::string strStay;
        for (const char* szMoment : test.vecStay) strStay += add("600000.SH", szMoment);
        for (const char* szMoment : test.vecGone) strStay += add("600000.SZ", szMoment);
        Run(strCommand);
        EXPECT_EQ(Ask("SELECT code, date, time FROM orders ORDER BY rowid"), strStay + strAll);
    }
}

TEST_F(Tables, RefusedWithoutAChange) {
    Run("orders 600000.SH --from 20240105");
    sqlite3* pDb = nullptr;
    sqlite3_open(m_strFile.c_str(), &pDb);
    sqlite3_exec(pDb, "CREATE TABLE trades (a); BEGIN IMMEDIATE", nullptr, nullptr, nullptr);
    std::ofstream(m_cli.Folder() / "text.db") << "no database, but a text that is long enough";
    const std::string strOrders = "orders 600000.SH --from 20240108 -o ";
    m_cli.Fails(strOrders + "m.sqlite", 9, "another process is writing");
    m_cli.Fails(strOrders + "text.db", 9, "file is not a database");
    sqlite3_exec(pDb, "COMMIT", nullptr, nullptr, nullptr);
    sqlite3_close(pDb);
    const std::pair<const char*, const char*> kOther[] = {
        {"--columns price", "with other --columns;"},
        {"--raw", "another --raw or --price-unit"},
        {"--tz UTC", "another --tz (the exchange's, not UTC)"},
        {"--price-unit 100", "price unit 1e4, not price unit 1e2"}};
    for (const auto& [szOther, szSentence] : kOther) {
        m_cli.Fails(strOrders + "m.sqlite " + szOther, 9, szSentence);
    }
    m_cli.Fails("trades 600000.SH --from 20240108 -o m.sqlite", 9, "was not made by qrx");
    EXPECT_EQ(Ask("SELECT date FROM orders"), "2024-01-05\n");
}

TEST_F(Tables, TakeALimitWhenTheyAreNew) {
    const std::string strLimited = "orders 600000.SH --from 20240105 --to 20240108 --limit 1";
    Run(strLimited);
    m_cli.Fails(strLimited + " -o m.sqlite", 2, "--limit would put some rows");
    EXPECT_EQ(Ask("SELECT date FROM orders"), "2024-01-05\n");
}

// Days of a night-traded contract fetched in other portions than before leave the table as it was:
// a day's night has the date of the day before.
TEST_F(ServedMarket, NightsAreReplacedWithTheirDay) {
    for (const char* szCommand : {"futures cu2403.SHF --book", "bars cu2403.SHF --cycle 1m"}) {
        const std::string strTable = szCommand[0] == 'f' ? "futures_book" : "bars_1m";
        const auto run = [&](const std::string& strArguments) {
            ASSERT_EQ(m_cli.Run(strArguments + " -o m.db"), 0) << strArguments << m_cli.Err();
        };
        const auto rows = [&] {
            return Rows(m_cli.Folder() / "m.db",
                        "SELECT code, date, count(*), min(time), max(time) FROM " + strTable +
                            " GROUP BY code, date");
        };
        // Another contract's rows at the same times stay.
        std::string strOther = szCommand;
        strOther.replace(strOther.find("cu"), 2, "ag");
        run(strOther + " --from 20240104 --to 20240108");
        run(std::string(szCommand) + " --from 20240104 --to 20240108");
        const std::string strOnce = rows();
        // Saturday, after the midnight of Monday's night.
        EXPECT_NE(strOnce.find("2024-01-06|"), std::string::npos) << strOnce;
        for (const char* szDays :
             {" --from 20240108", " --from 20240104 --to 20240105", " --from 20240105",
              " --from 20240104 --to 20240108", " --from 20240108 --begin 10:00 --end 10:30"}) {
            run(szCommand + std::string(szDays));
            EXPECT_EQ(rows(), strOnce) << szCommand << szDays;
        }
    }
}

}  // namespace
}  // namespace qrx::test
