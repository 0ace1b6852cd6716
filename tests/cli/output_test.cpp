// What each command prints: columns, formats, texts.
#include "cli/market.h"

namespace qrx::test {
namespace {

using Output = MarketCli;

TEST_F(Output, EveryCommandAsWrittenByHand) {
    struct Case {
        const char* szArguments;
        const char* szOut;
    };
    const Case kCases[] = {
        {"ticks 600000.sh --from 20240105 -f csv",
         "code,date,time,price,volume,turnover,acc_volume,acc_turnover,trades,open_interest,phase,"
         "side,open,high,low,prev_close,index_up,index_down,index_flat,index_extra4,index_extra5\n"
         "600000.SH,2024-01-05,09:30:00.500,7.1200,300,-2136.0050,12300,123456789.0123,17,18,T,,"
         "7.0001,7.0002,7.0003,7.0004,41,42,43,44,45\n"},
        {"ticks 600000.SH --from 2024-01-05 --book -f csv --columns "
         "bid_total,ask_price1,ask_price10,ask_volume10,bid_price1,bid_volume10,ask_average,code",
         "bid_total,ask_price1,ask_price10,ask_volume10,bid_price1,bid_volume10,ask_average,code\n"
         "8000000000,7.1210,7.1300,1109,7.1190,1409,7.2000,600000.SH\n"},
        {"trades 600000.SH --from 20240105 -f csv",
         "code,date,time,index,price,volume,ask_order,bid_order,function,kind,side\n"
         "600000.SH,2024-01-05,09:30:01.000,7,7.1300,200,31,32,,1,B\n"},
        {"orders 600000.SH --from 20240105 -f csv",
         "code,date,time,index,order,price,volume,kind,side\n"
         "600000.SH,2024-01-05,09:30:02.000,8,55,7.1400,900,A,S\n"},
        {"queues 600000.SH --from 20240105 -f csv --columns "
         "time,price,side,orders,items,item1,item2,item50",
         "time,price,side,orders,items,item1,item2,item50\n"
         "09:30:03.000,7.1500,B,3,2,500,0,4900\n"},
        {"trades 600000.SH --from 20240105 -f jsonl --columns date,time,price,function,side",
         "{\"date\":\"2024-01-05\",\"time\":\"09:30:01.000\",\"price\":7.1300,\"function\":null,"
         "\"side\":\"B\"}\n"},
        {"trades 600000.SH --from 20240105 -f jsonl --raw --columns date,time,price,function,side",
         "{\"date\":20240105,\"time\":93001000,\"price\":71300,\"function\":0,\"side\":66}\n"},
        {"ticks 600000.SH --from 20240105 -f csv --price-unit 1000000 --columns price,turnover",
         "price,turnover\n0.071200,-21.360050\n"},
        {"trades 600000.SH --from 20240104 --to 20240109 -f csv --columns date,volume",
         "date,volume\n2024-01-05,200\n2024-01-08,200\n"},
        {"trades 600000.SH --from 20240104 --to 20240109 -f csv --columns date --limit 1",
         "date\n2024-01-05\n"},
        {"trades 600000.SH --from 20240105 --to 20240108 --begin 09:30:01.001 -f csv --columns "
         "date",
         "date\n2024-01-08\n"},
        {"trades 600000.SH --from 20240105 --to 20240108 --end 09:30 -f csv --columns date",
         "date\n2024-01-05\n"},
        {"codes -f csv",
         "code,name,market,type,kind\n600000.SH,\u6D66\u53D1\u94F6\u884C,SH,16,security\n"
         "600010.SH,\u5305\u94A2,SH,16,security\n"
         "000001.SH,\"A,\"\"\uFFFD[31m\",SH,1,index\ncu1701.SHF,cu,SHF,112,future\n"
         "600000.SZ,other,SZ,16,security\n"},
        // Wide characters take two columns; a control character of the server's does not pass.
        {"codes sh",
         "code       name      market  type  kind\n"
         "600000.SH  \u6D66\u53D1\u94F6\u884C  SH        16  security\n"
         "600010.SH  \u5305\u94A2      SH        16  security\n"
         "000001.SH  A,\"\uFFFD[31m  SH         1  index\n"},
        {"codes --search \u94F6 -f csv --columns code", "code\n600000.SH\n"},
        {"codes --search CU17 -f csv --columns code", "code\ncu1701.SHF\n"},
        // Better answers first: the code itself, names that begin so, names that hold it.
        {"codes --search 000001 -f csv --columns code", "code\n000001.SH\n"},
        {"codes --search \uFF2F -f csv --columns code,name", "code,name\n600000.SZ,other\n"},
        // 09:30:00.500 in Shanghai; the night before in New York, in winter.
        {"ticks 600000.SH --from 20240105 -f csv --columns time,price,date --tz UTC",
         "time,price,date\n01:30:00.500,7.1200,2024-01-05\n"},
        {"ticks 600000.SH --from 20240105 -f csv --columns time --tz America/New_York",
         "time\n20:30:00.500\n"},
        {"ticks 600000.SH --from 20240105 -f jsonl --columns date,time --tz America/New_York",
         "{\"date\":\"2024-01-04\",\"time\":\"20:30:00.500\"}\n"},
        {"codes --search 600000.sz --raw -f csv",
         "code,name,market,type,kind\n"
         "600000.SZ,other,SZ,16,security\n"},
    };
    for (const Case& test : kCases) {
        EXPECT_EQ(m_cli.Run(test.szArguments), 0) << test.szArguments << "\n" << m_cli.Err();
        EXPECT_EQ(m_cli.Out(), test.szOut) << test.szArguments;
        EXPECT_EQ(m_cli.Err(), "") << test.szArguments;
    }
}

TEST_F(Output, AsksForWeekdaysOnly) {
    ASSERT_EQ(m_cli.Run("orders 600000.SH --from 20240105 --to 20240109"), 0);
    EXPECT_EQ(m_market.Days(), (std::vector<int>{kFriday, kMonday, 20240109}));
}

TEST_F(Output, FileStandsInPlaceWhenComplete) {
    std::ofstream(m_cli.Folder() / "old.csv") << "old";
    fs::permissions(m_cli.Folder() / "old.csv", fs::perms(0640));
    fs::create_symlink("old.csv", m_cli.Folder() / "link.csv");
    ASSERT_EQ(m_cli.Run("orders 600000.SH --from 20240105 --columns date -o link.csv"), 0);
    EXPECT_EQ(m_cli.Out(), "");
    EXPECT_EQ(ReadAll(m_cli.Folder() / "old.csv"), "date\n2024-01-05\n");
    EXPECT_TRUE(fs::is_symlink(m_cli.Folder() / "link.csv"));
    EXPECT_EQ(fs::status(m_cli.Folder() / "old.csv").permissions(), fs::perms(0640));
    EXPECT_EQ(std::distance(fs::directory_iterator(m_cli.Folder()), {}), 2);
}

}  // namespace
}  // namespace qrx::test
