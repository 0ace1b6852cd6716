// What the scripted server of these tests knows: one record of each kind on each of two trading
// days, Friday 2024-01-05 and Monday 2024-01-08, every value chosen so that columns cannot be mixed
// up.
#ifndef QRX_TESTS_CLI_MARKET_H
#define QRX_TESTS_CLI_MARKET_H

#include <gtest/gtest.h>

#include <cstring>
#include <mutex>
#include <vector>

#include "cli/run_cli.h"
#include "support/answers.h"

namespace qrx::test {

inline constexpr int kFriday = 20240105;
inline constexpr int kMonday = 20240108;

template <class Record>
Record NightTick(int nDate) {
    Record tick{};
    tick.nDate = nDate;
    tick.nTime = 93000500;
    tick.nPrice = 71200;
    tick.iVolume = 300;
    tick.iTurnover = -21360050;
    tick.iAccVolume = 12300;
    tick.iAccTurnover = 1234567890123;
    tick.nTickField1 = 17;
    tick.nTickField2 = 18;
    tick.chTickFlag1 = 'T';
    tick.chTickFlag2 = 0;
    for (int i = 0; i < 4; ++i) tick.nExt[i] = 70001 + i;
    for (int i = 0; i < 5; ++i) tick.nIndexField[i] = 41 + i;
    return tick;
}

// One packet of that security's records.
template <class Head, class Record>
std::string Answer(const std::vector<Record>& records, int nDate) {
    return AnswerBody(HeadFor<Head>("600000", "SH", nDate), records);
}

// Answers every tick and trade request, and remembers the days that were asked for.
class Market {
public:
    bool operator()(Peer& peer, const Message& request) {
        if (request.head.sDataType == ID_ZPMTELE_REQ_TICK_NIGHT) return Ticks(peer, request);
        const auto asked = request.As<ZPMDefine_RequestSaveData>();
        const auto send = [&](int nType, const auto& record) {
            return Send<ZPMDefine_SaveData_Head>(peer, request, nType, record, asked.nDate);
        };
        if (asked.nDataKind == 0) {
            return send(ID_ZPMTELE_TRANSACTION_V2,
                        ZPMDefine_Transaction_v2{93001000, 7, 0, '1', 'B', {71300, 200, 31}, 32});
        }
        if (asked.nDataKind == 2) {
            return send(ID_ZPMTELE_ORDER_V2,
                        ZPMDefine_Order_v2{93002000, 55, 8, 'A', 'S', 71400, 900});
        }
        ZPMDefine_OrderQueue queue = {93003000, {71500, 'B', 3, 2}, {}};
        queue.nQueueItems[0] = 500;
        queue.nQueueItems[49] = 4900;
        return send(ID_ZPMTELE_ORDERQUEUE_V2, queue);
    }
    std::vector<int> Days() {
        const std::lock_guard<std::mutex> guard(m_mutex);
        return m_days;
    }

private:
    bool Ticks(Peer& peer, const Message& request) {
        const auto asked = request.As<ZPMDefine_RequestTickData>();
        const auto send = [&](const auto& tick) {
            return Send<ZPMDefine_TickData_Head>(peer, request, ID_ZPMTELE_TICK_NIGHT, tick,
                                                 asked.nDate);
        };
        if (asked.nFlags == 2) return send(NightTick<ZPMDefine_Tick_Night>(asked.nDate));
        auto tick = NightTick<ZPMDefine_Tick_AB_Night>(asked.nDate);
        tick.nBook1[0] = 71210;
        tick.nBook1[9] = 71300;
        tick.nBook2[9] = 1109;
        tick.nBook3[0] = 71190;
        tick.nBook4[9] = 1409;
        tick.nABField1 = 72000;
        tick.iABField4 = 8000000000;
        return send(tick);
    }
    template <class Head, class Record>
    bool Send(Peer& peer, const Message& request, int nType, const Record& record, int nDate) {
        {
            const std::lock_guard<std::mutex> guard(m_mutex);
            m_days.push_back(nDate);
        }
        const size_t nItems = nDate == kFriday || nDate == kMonday ? 1 : 0;
        return peer.Answer(request, nType,
                           Answer<Head>(std::vector<Record>(nItems, record), nDate));
    }

    std::mutex m_mutex;
    std::vector<int> m_days;
};

// Securities with names in the server's encoding (GBK).
inline std::vector<TestMarket> NamedMarkets() {
    return {{"SH",
             {{"600000", 16, "\xC6\xD6\xB7\xA2\xD2\xF8\xD0\xD0"},
              {"600010", 16, "\xB0\xFC\xB8\xD6"},
              {"000001", 1, "A,\"\x1B[31m"}}},
            {"SHF", {{"cu1701", 112, "cu"}}},
            {"SZ", {{"600000", 16, "other"}}}};
}

// The command line against that market.
class MarketCli : public testing::Test {
protected:
    Market m_market;
    ScriptedServer m_server{
        Serving([this](Peer& peer, const Message& request) { return m_market(peer, request); },
                NamedMarkets())};
    Cli m_cli{m_server.Port()};
};

}  // namespace qrx::test

#endif
