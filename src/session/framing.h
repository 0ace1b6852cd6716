// Collecting the packets of an answer. The templates that every kind of request instantiates.
#ifndef QRX_SESSION_FRAMING_H
#define QRX_SESSION_FRAMING_H

#include <cstring>
#include <memory>
#include <utility>

#include "session/data_source.h"
#include "support/diagnostics.h"
#include "support/limits.h"

// Packets of one answer, released with it. A long answer is taken some packets at a time, in memory
// that is filled again and again.
struct PacketList {
    std::vector<char*> vecPacket;
    std::vector<int> vecPacketLen;
    bool bLast = false;        // the last packet of the answer is among them
    int64_t nAnswerBytes = 0;  // of the whole answer so far

    struct Body {
        std::unique_ptr<char[]> pBytes;
        int nRoom;  // bytes of a body, without the padding behind it
    };

    PacketList() = default;
    ~PacketList() { Clear(); }
    PacketList(const PacketList&) = delete;
    PacketList& operator=(const PacketList&) = delete;

    void Add(Body body, int nLen) {
        vecPacketLen.push_back(nLen);
        vecRoom.push_back(body.nRoom);
        vecPacket.push_back(body.pBytes.release());
    }
    // A spent body with room for nLen bytes; empty when there is none.
    Body TakeSpent(int nLen) {
        if (vecSpent.empty()) return {nullptr, nLen};
        Body body = std::move(vecSpent.back());
        vecSpent.pop_back();
        return body.nRoom >= nLen ? std::move(body) : Body{nullptr, nLen};
    }
    // The packets are decoded: their memory serves the next ones.
    void Spend() {
        vecSpent.reserve(vecSpent.size() + vecPacket.size());
        for (size_t i = 0; i < vecPacket.size(); ++i) {
            vecSpent.push_back({std::unique_ptr<char[]>(vecPacket[i]), vecRoom[i]});
        }
        Forget();
    }
    void Clear() {
        for (char* pPacket : vecPacket) delete[] pPacket;
        Forget();
    }
    void Forget() {
        vecPacket.clear();
        vecPacketLen.clear();
        vecRoom.clear();
    }

    std::vector<int> vecRoom;
    std::vector<Body> vecSpent;
};

// Reads a head from the start of a packet whose length was checked.
template <class Head>
Head HeadOf(const char* pPacket) {
    Head head;
    memcpy(&head, pPacket, sizeof head);
    return head;
}

// Collects packets of one answer up to the one that is marked as its last, or until they have
// nEnough bytes. On failure nothing is held.
template <class Head>
int MarketDataSource::RecvPacket(PacketList& packets, int64_t nEnough, int nExpectType,
                                 int nExpectRequestID) {
    return RecvPackets(packets, nEnough, nExpectType, nExpectRequestID,
                       [](const char* pBody, int nLen) {
                           // A body shorter than its head ends the answer: its reader refuses it.
                           if (nLen < static_cast<int>(sizeof(Head))) return true;
                           return HeadOf<Head>(pBody).nLastPacket != 0;
                       });
}

// The same for an answer of exactly one packet.
template <class Head>
int MarketDataSource::RecvFormulaCalcPacket(PacketList& packets, int nExpectType,
                                            int nExpectRequestID) {
    return RecvPackets(packets, INT64_MAX, nExpectType, nExpectRequestID,
                       [](const char*, int) { return true; });
}

template <class LastPacket>
int MarketDataSource::RecvPackets(PacketList& packets, int64_t nEnough, int nExpectType,
                                  int nExpectRequestID, LastPacket lastPacket) {
    int nResult = 0;
    for (int64_t nBytes = 0; !packets.bLast && nBytes < nEnough;) {
        ZPMDefine_MessageHead head;
        nResult = RecvExpectedHead(head, nExpectType, nExpectRequestID);
        if (nResult != 0) break;
        // An answer that never ends is ended when the machine would be full.
        packets.nAnswerBytes += head.nDataLen + qrx::limits::kPacketOverhead;
        if (!qrx::limits::FitsMemory(packets.nAnswerBytes)) {
            ErrPrint("MarketDataSource: can not take an answer of %lld bytes\n",
                     static_cast<long long>(packets.nAnswerBytes));
            nResult = NetworkError();
            break;
        }
        PacketList::Body body = packets.TakeSpent(head.nDataLen);
        body.pBytes.reset(NewBody(head.nDataLen, body.pBytes.release()));
        if (!body.pBytes) {
            nResult = NetworkError();
            break;
        }
        char* pBody = body.pBytes.get();
        packets.Add(std::move(body), head.nDataLen);
        nResult = RecvBody(head, pBody, head.nDataLen, head.nDataLen);
        if (nResult != 0) break;
        packets.bLast = lastPacket(pBody, head.nDataLen);
        nBytes += head.nDataLen;
    }
    if (nResult != 0) packets.Clear();
    return nResult;
}

#endif
