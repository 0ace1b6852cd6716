// Collecting the packets of an answer. The templates that every kind of request instantiates.
#ifndef QRX_SESSION_FRAMING_H
#define QRX_SESSION_FRAMING_H

#include <cstring>
#include <memory>

#include "session/data_source.h"
#include "support/limits.h"

// The packets of one answer, released with it.
struct PacketList {
    std::vector<char*> vecPacket;
    std::vector<int> vecPacketLen;

    PacketList() = default;
    ~PacketList() {
        for (char* pPacket : vecPacket) delete[] pPacket;
    }
    PacketList(const PacketList&) = delete;
    PacketList& operator=(const PacketList&) = delete;
};

// Reads a head from the start of a packet whose length was checked.
template <class Head>
Head HeadOf(const char* pPacket) {
    Head head;
    memcpy(&head, pPacket, sizeof head);
    return head;
}

// Collects packets of one answer up to the one that is marked as its last. On failure both lists
// are empty and nothing is held. Bodies belong to the caller (array deallocation).
template <class Head>
int MarketDataSource::RecvPacket(std::vector<char*>& vecPacket, std::vector<int>& vecPacketLen,
                                 int nExpectType, int nExpectRequestID) {
    return RecvPackets(vecPacket, vecPacketLen, nExpectType, nExpectRequestID,
                       [](const char* pBody, int nLen) {
                           // A body shorter than its head ends the answer: its reader refuses it.
                           if (nLen < static_cast<int>(sizeof(Head))) return true;
                           return HeadOf<Head>(pBody).nLastPacket != 0;
                       });
}

// The same for an answer of exactly one packet.
template <class Head>
int MarketDataSource::RecvFormulaCalcPacket(std::vector<char*>& vecPacket,
                                            std::vector<int>& vecPacketLen, int nExpectType,
                                            int nExpectRequestID) {
    return RecvPackets(vecPacket, vecPacketLen, nExpectType, nExpectRequestID,
                       [](const char*, int) { return true; });
}

template <class LastPacket>
int MarketDataSource::RecvPackets(std::vector<char*>& vecPacket, std::vector<int>& vecPacketLen,
                                  int nExpectType, int nExpectRequestID, LastPacket lastPacket) {
    vecPacket.clear();
    vecPacketLen.clear();
    int nResult = 0;
    int64_t nHeldBytes = 0;  // an answer that never ends is ended when the machine is full
    for (bool bLast = false; nResult == 0 && !bLast;) {
        ZPMDefine_MessageHead head;
        nResult = RecvExpectedHead(head, nExpectType, nExpectRequestID);
        if (nResult != 0) break;
        nHeldBytes += head.nDataLen + qrx::limits::kPacketOverhead;
        std::unique_ptr<char[]> pNew(qrx::limits::FitsMemory(nHeldBytes) ? NewBody(head.nDataLen)
                                                                         : nullptr);
        if (!pNew) {
            nResult = NetworkError();
            break;
        }
        vecPacketLen.push_back(head.nDataLen);
        vecPacket.push_back(pNew.get());
        char* pBody = pNew.release();
        nResult = RecvBody(head, pBody, head.nDataLen, head.nDataLen);
        bLast = nResult == 0 && lastPacket(pBody, head.nDataLen);
    }
    if (nResult != 0) {
        for (char* pPacket : vecPacket) delete[] pPacket;
        vecPacket.clear();
        vecPacketLen.clear();
    }
    return nResult;
}

#endif
