// Tables of days with nights, which have the date of the day before, from the real server.
#include <gtest/gtest.h>

#include "cli/database.h"
#include "cli/served_market.h"

namespace qrx::test {
namespace {

class Nights : public ServedMarket {
protected:
    void Run(const std::string& strArguments) {
        ASSERT_EQ(m_cli.Run(strArguments + " -o m.db"), 0) << strArguments << m_cli.Err();
    }
    std::string Ask(const std::string& strSql) { return Rows(m_cli.Folder() / "m.db", strSql); }
};

// Days of a night-traded contract fetched in other portions than before leave the table as it was:
// a day's night has the date of the day before.
TEST_F(Nights, AreReplacedWithTheirDay) {
    for (const char* szCommand : {"futures cu2403.SHF --book", "bars cu2403.SHF --cycle 1m"}) {
        const std::string strTable = szCommand[0] == 'f' ? "futures_book" : "bars_1m";
        const auto rows = [&] {
            return Ask("SELECT code, date, count(*), min(time), max(time) FROM " + strTable +
                       " GROUP BY code, date");
        };
        // Another contract's rows at the same times stay.
        std::string strOther = szCommand;
        strOther.replace(strOther.find("cu"), 2, "ag");
        Run(strOther + " --from 20240104 --to 20240108");
        Run(std::string(szCommand) + " --from 20240104 --to 20240108");
        const std::string strOnce = rows();
        // Saturday, after the midnight of Monday's night.
        EXPECT_NE(strOnce.find("2024-01-06|"), std::string::npos) << strOnce;
        for (const char* szDays :
             {" --from 20240108", " --from 20240104 --to 20240105", " --from 20240105",
              " --from 20240104 --to 20240108", " --from 20240108 --begin 10:00 --end 10:30"}) {
            Run(szCommand + std::string(szDays));
            EXPECT_EQ(rows(), strOnce) << szCommand << szDays;
        }
    }
}

}  // namespace
}  // namespace qrx::test
