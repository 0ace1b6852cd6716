// Days of real markets go in by import's options and come back over the socket, and every row
// agrees. The files are read a second time here, in the plainest way. They are not part of the
// project: the folder is named by QRX_REAL_DATA, and without it these tests are skipped.
#include "server/csv_table.h"
#include "server/test_store.h"

namespace qrx::test {
namespace {

class RealDataTest : public StoreTest {
protected:
    void SetUp() override {
        const char* szFolder = std::getenv("QRX_REAL_DATA");
        if (szFolder == nullptr) GTEST_SKIP() << "QRX_REAL_DATA names no folder of real data";
        m_strData = std::string(szFolder) + "/";
        AddUser("alice", "SH,SZ,SHF");
        Import("codes",
               "code,type\n600519.SH,stock\n600103.SH,stock\n600332.SH,stock\n688233.SH,stock\n"
               "000400.SZ,stock\nru1901.SHF,future\n");
    }

    std::string m_strData;
};

TEST_F(RealDataTest, AStocksDayOfTrades) {
    const std::string strFile = m_strData + "stock-day-600519/600519_trade.csv.gz";
    Must({"import", "trades", strFile, "--set", "market=SH,date=20230207", "--map",
          "SecurityID=code,TransactTime=time,ApplSeqNum=index,BidApplSeqNum=bid_order,"
          "OfferApplSeqNum=ask_order,LastPx=price,LastQty=volume,ExecType=side",
          "--decimals", "3", "--volume-unit", "0.001", "--time", "hhmmsscc"});
    const Table table(strFile);
    const auto trades = Fetch<ZPMDefine_Transaction_v2>(ID_ZPMTELE_REQ_SAVEDATA,
                                                        SaveRequest("600519.SH", 20230207, 0));
    ASSERT_EQ(table.vecRows.size(), trades.size());
    int64_t nVolume = 0;
    for (size_t i = 0; i < trades.size(); ++i) {
        const auto& trade = trades[i];
        nVolume += trade.nTradeValue[1];
        ASSERT_EQ(table.Number(i, "TransactTime", 10), +trade.nTime);
        ASSERT_EQ(table.Number(i, "ApplSeqNum"), +trade.nIndex);
        ASSERT_EQ(table.Number(i, "LastPx", 10), +trade.nTradeValue[0]);
        ASSERT_EQ(table.Number(i, "LastQty", 0.001), +trade.nTradeValue[1]);
        ASSERT_EQ(table.Number(i, "OfferApplSeqNum"), +trade.nTradeValue[2]);
        ASSERT_EQ(table.Number(i, "BidApplSeqNum"), +trade.nTradeValue4);
        ASSERT_EQ(table.Number(i, "ExecType"), +trade.chFlag3);
    }
    EXPECT_EQ(2432171, nVolume);
}

TEST_F(RealDataTest, AStocksDayOfOrders) {
    const std::string strFile = m_strData + "stock-day-600519/600519_order.csv.gz";
    Must({"import", "orders", strFile, "--set", "market=SH,date=20230207", "--map",
          "SecurityID=code,TransactTime=time,ApplSeqNum=index,OrderNo=order,OrderQty=volume,"
          "OrdType=kind",
          "--decimals", "3", "--volume-unit", "0.001", "--time", "hhmmsscc"});
    const Table table(strFile);
    const auto orders =
        Fetch<ZPMDefine_Order_v2>(ID_ZPMTELE_REQ_SAVEDATA, SaveRequest("600519.SH", 20230207, 2));
    ASSERT_EQ(table.vecRows.size(), orders.size());
    for (size_t i = 0; i < orders.size(); ++i) {
        const auto& order = orders[i];
        ASSERT_EQ(table.Number(i, "TransactTime", 10), +order.nTime);
        ASSERT_EQ(table.Number(i, "ApplSeqNum"), +order.nIndex);
        ASSERT_EQ(table.Number(i, "OrderNo"), +order.nOrderField);
        ASSERT_EQ(table.Number(i, "Price", 10), +order.nOrderValue1);
        ASSERT_EQ(table.Number(i, "OrderQty", 0.001), +order.nOrderValue2);
        ASSERT_EQ(table.Number(i, "OrdType"), +order.chFlag1);
        ASSERT_EQ(table.Number(i, "Side"), +order.chFlag2);
    }
}

TEST_F(RealDataTest, AStocksDayOfTicksInWholeNumbers) {
    const std::string strFile = m_strData + "stock-day-600519/600519_snapshot.csv.gz";
    Must({"import", "ticks", strFile, "--set", "market=SH,date=20230207", "--map",
          "SecurityID=code,DataTimeStamp=time,NumTrades=trades,TotalVolumeTrade=volume,"
          "TotalValueTrade=turnover,PrevClosePx=prev_close,LastPx=price,OpenPx=open,HighPx=high,"
          "LowPx=low,BidWeightPx=bid_average,BidWeightSize=bid_total,AskWeightPx=ask_average,"
          "AskWeightSize=ask_total,BidLevel[*].Price=bid_price*,BidLevel[*].Qty=bid_volume*,"
          "AskLevel[*].Price=ask_price*,AskLevel[*].Qty=ask_volume*",
          "--decimals", "3", "--volume-unit", "0.001", "--turnover-unit", "0.00001", "--time",
          "hhmmss", "--volume", "cumulative"});
    const Table table(strFile);
    const auto ticks = Fetch<ZPMDefine_Tick_AB_Night>(ID_ZPMTELE_REQ_TICK_NIGHT,
                                                      TickRequest("600519.SH", 20230207, 3));
    ASSERT_EQ(table.vecRows.size(), ticks.size());
    int64_t nVolume = 0;
    for (size_t i = 0; i < ticks.size(); ++i) {
        const auto& tick = ticks[i];
        nVolume += tick.iVolume;
        ASSERT_EQ(20230207, +tick.nDate);
        ASSERT_EQ(table.Number(i, "DataTimeStamp", 1000), +tick.nTime);
        ASSERT_EQ(table.Number(i, "LastPx", 10), +tick.nPrice);
        ASSERT_EQ(table.Number(i, "TotalVolumeTrade", 0.001), +tick.iAccVolume);
        ASSERT_EQ(+tick.iAccVolume, nVolume);
        ASSERT_EQ(table.Number(i, "TotalValueTrade", 0.1), +tick.iAccTurnover);
        ASSERT_EQ(table.Number(i, "NumTrades"), +tick.nTickField1);
        ASSERT_EQ(table.Number(i, "OpenPx", 10), +tick.nExt[0]);
        ASSERT_EQ(table.Number(i, "PrevClosePx", 10), +tick.nExt[3]);
        ASSERT_EQ(table.Number(i, "AskWeightPx", 10), +tick.nABField1);
        ASSERT_EQ(table.Number(i, "BidWeightSize", 0.001), +tick.iABField4);
        for (int k = 0; k < 10; ++k) {
            const std::string strLevel = "Level[" + std::to_string(k) + "].";
            ASSERT_EQ(table.Number(i, "Ask" + strLevel + "Price", 10), +tick.nBook1[k]);
            ASSERT_EQ(table.Number(i, "Ask" + strLevel + "Qty", 0.001), +tick.nBook2[k]);
            ASSERT_EQ(table.Number(i, "Bid" + strLevel + "Price", 10), +tick.nBook3[k]);
            ASSERT_EQ(table.Number(i, "Bid" + strLevel + "Qty", 0.001), +tick.nBook4[k]);
        }
    }
}

TEST_F(RealDataTest, AStocksDayOfTicksInDecimals) {
    const std::string strFile = m_strData + "stock-snapshots-000400/tick.000400.csv.gz";
    Must({"import", "ticks", strFile, "--map",
          "MDDate=date,MDTime=time,SecurityID=code,PreClosePx=prev_close,"
          "TotalVolumeTrade=acc_volume,TotalValueTrade=acc_turnover,LastPx=price,OpenPx=open,"
          "HighPx=high,LowPx=low,BuyPrice*=bid_price*,BuyOrderQty*=bid_volume*,"
          "SellPrice*=ask_price*,SellOrderQty*=ask_volume*"});
    const Table table(strFile);
    const auto ticks = Fetch<ZPMDefine_Tick_AB_Night>(ID_ZPMTELE_REQ_TICK_NIGHT,
                                                      TickRequest("000400.SZ", 20220601, 3));
    ASSERT_EQ(table.vecRows.size(), ticks.size());
    for (size_t i = 0; i < ticks.size(); ++i) {
        ASSERT_EQ(table.Number(i, "MDTime", 1000), +ticks[i].nTime);  // 09:15:00.000
        ASSERT_EQ(table.Number(i, "LastPx", 10000), +ticks[i].nPrice);
        ASSERT_EQ(table.Number(i, "TotalValueTrade", 10000), +ticks[i].iAccTurnover);
        for (int k = 0; k < 10; ++k) {
            const std::string strLevel = std::to_string(k + 1);
            ASSERT_EQ(table.Number(i, "SellPrice" + strLevel, 10000), +ticks[i].nBook1[k]);
            ASSERT_EQ(table.Number(i, "BuyOrderQty" + strLevel), +ticks[i].nBook4[k]);
        }
    }
}

TEST_F(RealDataTest, OrderQueuesOfBothSides) {
    const std::string strFile = m_strData + "order-queues-3stocks/20211201snapshot_3stocks.csv.gz";
    Must({"import", "queues", strFile, "--set", "market=SH", "--map",
          "SecurityID=code,DateTime=datetime,BidPrice0=bid_price,BidNumOrders0=bid_orders,"
          "BidOrders*=bid_item*,OfferPrice0=ask_price,OfferNumOrders0=ask_orders,"
          "OfferOrders*=ask_item*"});
    const Table table(strFile);
    for (const char* szCode : {"600103", "600332", "688233"}) {
        const auto queues = Fetch<ZPMDefine_OrderQueue>(
            ID_ZPMTELE_REQ_SAVEDATA, SaveRequest(szCode + std::string(".SH"), 20211201, 1));
        size_t nNext = 0;
        for (size_t i = 0; i < table.vecRows.size(); ++i) {
            if (table.Text(i, "SecurityID") != szCode) continue;
            for (const std::string strSide : {"Bid", "Offer"}) {
                int nItems = 0;
                for (int k = 0; k < 50; ++k) {
                    if (table.Number(i, strSide + "Orders" + std::to_string(k)) != 0)
                        nItems = k + 1;
                }
                if (table.Number(i, strSide + "Price0", 10000) == 0 && nItems == 0) continue;
                ASSERT_LT(nNext, queues.size());
                const auto& queue = queues[nNext++];
                ASSERT_EQ(table.Number(i, strSide + "Price0", 10000), +queue.nQueueField[0]);
                ASSERT_EQ(strSide == "Bid" ? 'B' : 'S', +queue.nQueueField[1]);
                ASSERT_EQ(table.Number(i, strSide + "NumOrders0"), +queue.nQueueField[2]);
                ASSERT_EQ(nItems, +queue.nQueueField[3]);
                for (int k = 0; k < 50; ++k) {
                    ASSERT_EQ(table.Number(i, strSide + "Orders" + std::to_string(k)),
                              +queue.nQueueItems[k]);
                }
            }
        }
        EXPECT_EQ(nNext, queues.size());
        EXPECT_GT(nNext, 2000U);
    }
}

// Three calendar days make five trading days; the one of 12 October has its night from one file and
// its day from another.
TEST_F(RealDataTest, FuturesSnapshotsWithTheirNights) {
    std::vector<std::string> vecCommand{
        "import",
        "snapshots",
        "--set",
        "market=SHF",
        "--volume",
        "cumulative",
        "--map",
        "InstrumentID=code,ActionDay=date,UpdateTime=time,UpdateMillisec=millisecond,"
        "TradingDay=trading_day,LastPrice=price,PreSettlementPrice=prev_settle,"
        "PreClosePrice=prev_close,PreOpenInterest=prev_open_interest,OpenPrice=open,"
        "HighestPrice=high,LowestPrice=low,OpenInterest=open_interest,SettlementPrice=settle,"
        "AskPrice*=ask_price*,BidPrice*=bid_price*,AskVolume*=ask_volume*,BidVolume*=bid_volume*"};
    std::vector<Table> vecTables;
    for (const char* szDay : {"20181009", "20181011", "20181012"}) {
        vecCommand.push_back(m_strData + "futures-ticks-ru1901/ru1901." + szDay +
                             ".tick-ctp.csv.gz");
        vecTables.emplace_back(vecCommand.back());
    }
    Must(vecCommand);
    const auto snapshots = Fetch<ZPMDefine_Future_AB_Night>(ID_ZPMTELE_REQ_FUTURE_AB,
                                                            FutureRequest("ru1901.SHF", 20181012));
    size_t nNext = 0;
    int64_t nVolume = 0;
    int64_t nTurnover = 0;
    for (const auto& table : vecTables) {
        for (size_t i = 0; i < table.vecRows.size(); ++i) {
            if (table.Text(i, "TradingDay") != "20181012") continue;
            ASSERT_LT(nNext, snapshots.size());
            const auto& snapshot = snapshots[nNext++];
            nVolume += snapshot.iVolume;
            nTurnover += snapshot.iTurnover;
            ASSERT_EQ(table.Number(i, "ActionDay"), +snapshot.nDate);
            ASSERT_EQ(table.Number(i, "UpdateTime", 1000) + table.Number(i, "UpdateMillisec"),
                      +snapshot.nTime);
            ASSERT_EQ(table.Number(i, "LastPrice", 10000), +snapshot.nValue0);
            ASSERT_EQ(table.Number(i, "Volume"), nVolume);
            ASSERT_EQ(table.Number(i, "Turnover", 10000), nTurnover);
            ASSERT_EQ(table.Number(i, "OpenInterest"), +snapshot.nPosition);
            ASSERT_EQ(table.Number(i, "HighestPrice", 10000), +snapshot.nValue2);
            ASSERT_EQ(table.Number(i, "AskPrice1", 10000), +snapshot.nBook1[0]);
            ASSERT_EQ(table.Number(i, "BidVolume1"), +snapshot.nBook4[0]);
        }
    }
    EXPECT_EQ(nNext, snapshots.size());
    EXPECT_GT(nNext, 30000U);
}

}  // namespace
}  // namespace qrx::test
