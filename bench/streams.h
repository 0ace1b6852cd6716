// Streams to measure on: realistic ones of the five kinds of record that requests return, streams
// of random lengths, and the obvious decoder that both are compared with.
#ifndef QRX_BENCH_STREAMS_H
#define QRX_BENCH_STREAMS_H

#include <algorithm>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "codec/codecs.h"
#include "codec/fast_stream.h"
#include "compare.h"
#include "support/limits.h"

namespace qrx::bench {

// A trading day's time of the i-th of n records, HHMMSSmmm, in steps of nStepMs.
inline int TimeOfDay(int i, int nStepMs) {
    const int64_t nMs = 34200000 + int64_t{i} * nStepMs % 14400000;
    return static_cast<int>(nMs / 3600000 * 10000000 + nMs / 60000 % 60 * 100000 + nMs % 60000);
}

// -- Realistic records: prices in ten-thousandths on a tick of 0.01, volumes in hundreds -------

template <class Tick>
void FillTick(Random& random, int i, Tick& tick) {
    const int nPrice = 712000 + 100 * (random.Below(60) + i / 100 % 50);
    tick.nDate = 20240105;
    tick.nTime = TimeOfDay(i, 3000);
    tick.nPrice = nPrice;
    tick.iVolume = random.Below(4) == 0 ? 0 : 100 * random.Below(900);
    tick.iTurnover = tick.iVolume * nPrice / 100;
    tick.nTickField1 = random.Below(80);
    tick.nTickField2 = 712000;
    tick.chTickFlag1 = 'T';
    tick.chTickFlag2 = static_cast<int8_t>(random.Below(2));
    tick.iAccVolume = int64_t{40000} * i + 100 * random.Below(900);
    tick.iAccTurnover = tick.iAccVolume * 7150 + random.Below(10000);
    tick.nExt[0] = 715000;
    tick.nExt[1] = 718000;
    tick.nExt[2] = 709000;
    tick.nExt[3] = 3 * i;
}
inline void Fill(Random& random, int i, ZPMDefine_Tick_Night& tick) {
    FillTick(random, i, tick);
}
inline void Fill(Random& random, int i, ZPMDefine_Tick_AB_Night& tick) {
    FillTick(random, i, tick);
    for (int k = 0; k < 10; ++k) {
        tick.nBook1[k] = tick.nPrice + 100 * (k + 1);
        tick.nBook2[k] = 100 * (1 + random.Below(random.Below(5) == 0 ? 3000 : 200));
        tick.nBook3[k] = tick.nPrice - 100 * k;
        tick.nBook4[k] = 100 * (1 + random.Below(random.Below(5) == 0 ? 3000 : 200));
    }
    tick.nABField1 = 714300 + random.Below(2000);
    tick.nABField2 = 713100 - random.Below(2000);
    tick.iABField3 = 100 * (40000 + random.Below(30000));
    tick.iABField4 = 100 * (40000 + random.Below(30000));
}
inline void Fill(Random& random, int i, ZPMDefine_Transaction_v2& trade) {
    trade.nTime = TimeOfDay(i, 10 * (1 + random.Below(3)));
    trade.nIndex = 6524 + i;
    trade.chFlag1 = random.Below(2) == 0 ? 'B' : 'S';
    trade.chFlag2 = random.Below(5) == 0 ? 'C' : '0';
    trade.chFlag3 = 0;
    trade.nTradeValue[0] = 712000 + 100 * random.Below(60);
    trade.nTradeValue[1] = 100 * (1 + random.Below(random.Below(5) == 0 ? 300 : 10));
    trade.nTradeValue[2] = 130000 + 2 * i + random.Below(20000);
    trade.nTradeValue4 = 130000 + 2 * i + random.Below(20000);
}
inline void Fill(Random& random, int i, ZPMDefine_Order_v2& order) {
    order.nTime = TimeOfDay(i, 10 * (1 + random.Below(3)));
    order.nOrderField = 200000 + i + random.Below(1000);
    order.nIndex = 60775 + i;
    order.chFlag1 = random.Below(2) == 0 ? 'B' : 'S';
    order.chFlag2 = random.Below(4) == 0 ? 'D' : 'A';
    order.nOrderValue1 = 712000 + 100 * random.Below(600);
    order.nOrderValue2 = 100 * (1 + random.Below(random.Below(5) == 0 ? 300 : 10));
}
// Many queues are short and a few are full, as in the days of ordinary stocks.
inline void Fill(Random& random, int i, ZPMDefine_OrderQueue& queue) {
    constexpr int kUpTo[8] = {1, 2, 3, 6, 12, 24, 38, 70};
    const int nLength = std::min(50, 1 + random.Below(kUpTo[random.Below(8)]));
    queue.nTime = TimeOfDay(i, 1500);
    queue.nQueueField[0] = i % 2;
    queue.nQueueField[1] = 712000 + 100 * random.Below(60);
    queue.nQueueField[2] = nLength;
    queue.nQueueField[3] = nLength;
    for (int k = 0; k < nLength; ++k) {
        queue.nQueueItems[k] = 100 * (1 + random.Below(random.Below(5) == 0 ? 300 : 10));
    }
}

// -- Streams ----------------------------------------------------------------------------------

// Several streams with zeroed bytes behind each, as packet bodies have.
struct Streams {
    std::vector<std::string> vecStream;
    std::vector<int> vecRecords;
    size_t nRecords = 0;

    int Length(size_t i) const {
        return static_cast<int>(vecStream[i].size() - limits::kBodyPadding);
    }
};

template <class Body>
Streams Realistic(int nStreams, int nRecordsEach) {
    Streams streams;
    Random random(7);
    for (int i = 0; i < nStreams; ++i) {
        std::string strStream;
        for (int j = 0; j < nRecordsEach; ++j) {
            Body record{};
            Fill(random, i * nRecordsEach + j, record);
            codec::EncodeRecord(record, strStream);
        }
        strStream.append(limits::kBodyPadding, '\0');
        streams.vecStream.push_back(std::move(strStream));
        streams.vecRecords.push_back(nRecordsEach);
        streams.nRecords += static_cast<size_t>(nRecordsEach);
    }
    return streams;
}

// Integers of every length alike, so that no branch on a length can be foretold.
template <class Body>
Streams RandomLengths(int nStreams, int nRecordsEach) {
    Streams streams;
    Random random(11);
    for (int i = 0; i < nStreams; ++i) {
        std::string strStream;
        for (size_t n = static_cast<size_t>(nRecordsEach) * codec::kStream<Body>.size(); n > 0;
             --n) {
            const int nBytes = random.Below(8);
            strStream += static_cast<char>(random.Below(2) << 7 | nBytes << 4 | random.Below(4));
            for (int k = 0; k < nBytes; ++k) strStream += static_cast<char>(random.Below(256));
        }
        strStream.append(limits::kBodyPadding, '\0');
        streams.vecStream.push_back(std::move(strStream));
        streams.vecRecords.push_back(nRecordsEach);
        streams.nRecords += static_cast<size_t>(nRecordsEach);
    }
    return streams;
}

// -- The obvious decoder: a call a field, a guard a field, a loop over the bytes ----------------

[[gnu::noinline]] inline int ObviousInteger(long long& value, const char* p) {
    return decompressData(value, p);
}

template <class Body, size_t... Value>
int DecodeObvious(const char* pSrc, int nSrcLen, Body* pDst, int nMaxCount,
                  std::index_sequence<Value...>) {
    const char* p = pSrc;
    for (int i = 0; i < nMaxCount; ++i) {
        char* pRecord = reinterpret_cast<char*>(pDst + i);
        const auto step = [&](const codec::StreamField& field) {
            if (p - pSrc >= nSrcLen) return;
            long long value;
            p += ObviousInteger(value, p);
            codec::StoreField(pRecord, field, value);
        };
        (step(codec::kStream<Body>[Value]), ...);
    }
    return static_cast<int>(p - pSrc);
}

template <class Body>
int DecodeObvious(char* pSrc, int nSrcLen, Body* pDst, int nMaxCount) {
    return DecodeObvious(pSrc, nSrcLen, pDst, nMaxCount,
                         std::make_index_sequence<codec::kStream<Body>.size()>());
}

}  // namespace qrx::bench

#endif
