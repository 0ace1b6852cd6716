// From packet bodies straight into public records, without a record in between: the same result
// as the plain pipeline, record for record.
//
// Each packet has its place in the result, behind the records that the packets before it announce.
// There it is decoded, several packets in lockstep, in no order that matters. Only when the range
// filter dropped something are the kept records moved together afterwards, in their order. When
// the session is closed meanwhile, what stands complete from the start on is the result.
#ifndef QRX_TICKS_FAST_PIPELINE_H
#define QRX_TICKS_FAST_PIPELINE_H

#include "codec/fast_stream.h"
#include "codec/public_target.h"
#include "ticks/pipeline.h"

namespace qrx {

template <class Head, class Body, class Record, class Quit>
class FastPipeline {
public:
    using Target = codec::PublicTarget<Body, Record>;

    FastPipeline(Record* pArray, int nMaxCount, const RangeFilter& filter, Quit quit)
        : m_pArray(pArray), m_nMaxCount(nMaxCount), m_filter(filter), m_quit(quit) {}

    // Whether date and time of the records stand where this pipeline looks for them, and room for
    // all that the heads announce was given, unless nothing can be dropped.
    bool Serves(const RecordClock& clock, const std::vector<char*>& vecPacket) const {
        if (clock.bSeconds || (clock.nDateWord < 0) == Target::kDated) return false;
        if (clock.nTimeWord != static_cast<int>(offsetof(Body, nTime) / sizeof(int32_t))) {
            return false;
        }
        if (!m_filter.MayDrop()) return true;
        int64_t nSum = 0;
        for (const char* pPacket : vecPacket) nSum += std::max(HeadOf<Head>(pPacket).nItems, 0);
        return nSum <= m_nMaxCount;
    }

    int Run(const std::vector<char*>& vecPacket, const std::vector<int>& vecPacketLen) {
        codec::LockstepDecoder<Target> decoder;
        size_t nPacket = 0;
        const bool bDone = decoder.Run(
            [&](codec::StreamCursor& cursor) {
                while (nPacket < vecPacket.size()) {
                    const size_t i = nPacket++;
                    if (Place(vecPacket[i], vecPacketLen[i], cursor)) return true;
                }
                return false;
            },
            [&](const char* pFirst, int64_t nCount) { LookForDropped(pFirst, nCount); },
            [&] { return !m_quit(); });
        int64_t nCount = m_nPlaced;
        if (!bDone) {
            for (int k = 0; k < decoder.ActiveCount(); ++k) {
                const char* pMissing = decoder.Active()[k].pDst;
                nCount = std::min(nCount, (pMissing - Bytes(0)) / kSize);
            }
        }
        return static_cast<int>(m_bDropped ? MoveTogether(nCount) : nCount);
    }

private:
    static constexpr auto kSize = static_cast<int64_t>(sizeof(Record));
    static constexpr int64_t kLookEvery = 4096;

    char* Bytes(int64_t nRecord) const {
        return reinterpret_cast<char*>(m_pArray) + nRecord * kSize;
    }

    // Sets a cursor to a packet; false when it contributes nothing.
    bool Place(const char* pPacket, int nPacketLen, codec::StreamCursor& cursor) {
        const Head head = HeadOf<Head>(pPacket);
        const int64_t nItems = std::min<int64_t>(head.nItems, m_nMaxCount - m_nPlaced);
        if (nItems <= 0) return false;
        const int nDate = HeadDate(head);
        if (!Target::kDated && !m_filter.TimeMatters(nDate) && m_filter.Drops(nDate, 0)) {
            return false;
        }
        cursor = codec::StreamCursor{};
        cursor.p = pPacket + sizeof(Head);
        cursor.pEnd = std::max(cursor.p, pPacket + nPacketLen);
        cursor.pDst = Bytes(m_nPlaced);
        cursor.nLeft = nItems;
        const std::string strVelaCode = BusinessConvertor::GetVelaCode(
            head.chCode, sizeof head.chCode, head.chMarket, sizeof head.chMarket);
        const std::string strCode = FieldText(head.chCode);
        Record block{};
        codec::FillCodes(block, strVelaCode, strCode);
        block.nDate = nDate;
        memcpy(cursor.prefix, &block, Target::kPrefix);
        m_nPlaced += nItems;
        return true;
    }

    // Looks through records of one packet, just written, until one is found that goes.
    void LookForDropped(const char* pFirst, int64_t nCount) {
        if (m_bDropped || nCount == 0 || !m_filter.MayDrop()) return;
        if (!Target::kDated && !m_filter.TimeMatters(DateOf(pFirst))) return;
        for (int64_t i = 0; i < nCount; ++i) {
            if (Drops(pFirst + i * kSize)) {
                m_bDropped = true;
                return;
            }
        }
    }

    int64_t MoveTogether(int64_t nCount) const {
        int64_t nKept = 0;
        for (int64_t i = 0; i < nCount; ++i) {
            if (i % kLookEvery == 0 && m_quit()) break;
            if (Drops(Bytes(i))) continue;
            if (i != nKept) memcpy(Bytes(nKept), Bytes(i), sizeof(Record));
            ++nKept;
        }
        return nKept;
    }

    static int DateOf(const char* pRecord) {
        int32_t n;
        memcpy(&n, pRecord + offsetof(Record, nDate), sizeof n);
        return n;
    }
    bool Drops(const char* pRecord) const {
        int32_t nTime;
        memcpy(&nTime, pRecord + offsetof(Record, nTime), sizeof nTime);
        return m_filter.Drops(DateOf(pRecord), nTime);
    }

    Record* m_pArray;
    int64_t m_nMaxCount;
    RangeFilter m_filter;
    Quit m_quit;
    int64_t m_nPlaced = 0;
    bool m_bDropped = false;
};

}  // namespace qrx

template <class Head, class Body, class Record>
int MarketDataSource::DecompressFast(
    Record* pQRXArr, int nMaxCount, const std::vector<char*>& vecPacket,
    const std::vector<int>& vecPacketLen, int (*pfnDecompress)(char*, int, Body*, int),
    void (*pfnConvert)(const Body&, Record&, int, const std::string&, const std::string&),
    int nMsgType, int nBeginDate, int nEndDate, int nBeginTime, int nEndTime, int* pOut) {
    // What breaks the contract is left to the plain pipeline to say.
    if (pQRXArr != nullptr && vecPacket.size() == vecPacketLen.size() && pfnDecompress != nullptr &&
        pOut == nullptr) {
        const auto quit = [this] { return Quitting(); };
        qrx::FastPipeline<Head, Body, Record, decltype(quit)> pipeline(
            pQRXArr, nMaxCount, {nBeginDate, nEndDate, nBeginTime, nEndTime}, quit);
        if (pipeline.Serves(qrx::ClockOf(nMsgType), vecPacket)) {
            return pipeline.Run(vecPacket, vecPacketLen);
        }
    }
    return DecompressRawVec<Head>(pQRXArr, nMaxCount, vecPacket, vecPacketLen, pfnDecompress,
                                  pfnConvert, nMsgType, nBeginDate, nEndDate, nBeginTime, nEndTime,
                                  pOut);
}

#endif
