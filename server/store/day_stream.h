// Records to chunks and back. PutRecords is what the importers and the simulator call:
//
//   Store::Batch batch(store);
//   PutRecords(store, {"SH", "600000", 20240102}, vecTicks);         // records that carry a date
//   PutRecords(store, {"SH", "600000", 20240102}, vecTransactions);  // dated by the trading day
//   PutRecords(store, key, {{20240105, vecNight}, {20240108, vecDay}});  // trades with a night
//   batch.Commit();
//
// A chunk holds records of one calendar date, never a part of a record, and fits with both heads
// into a packet of kPacketBytes. Ticks are stored in both forms, with and without levels.
#ifndef QRX_SERVER_STORE_DAY_STREAM_H
#define QRX_SERVER_STORE_DAY_STREAM_H

#include <span>
#include <string>
#include <vector>

#include "codec/future_records.h"
#include "codec/kline_records.h"
#include "codec/stream.h"
#include "codec/tick_records.h"
#include "codec/wire.h"
#include "store/packet_size.h"
#include "store/store.h"

namespace qrx::server {

inline constexpr size_t kStreamBytes =
    kPacketBytes - sizeof(ZPMDefine_MessageHead) - sizeof(ZPMDefine_KData_Option_Head);

template <class Record>
struct DayPart {
    int nDate;  // calendar date
    std::vector<Record> vecRecords;
};

template <class Record>
inline constexpr DayKind kKindOf = DayKind{};
template <>
inline constexpr DayKind kKindOf<ZPMDefine_Tick_Night> = DayKind::Tick;
template <>
inline constexpr DayKind kKindOf<ZPMDefine_Tick_AB_Night> = DayKind::TickLevels;
template <>
inline constexpr DayKind kKindOf<ZPMDefine_Transaction_v2> = DayKind::Transaction;
template <>
inline constexpr DayKind kKindOf<ZPMDefine_Order_v2> = DayKind::Order;
template <>
inline constexpr DayKind kKindOf<ZPMDefine_OrderQueue> = DayKind::OrderQueue;
template <>
inline constexpr DayKind kKindOf<ZPMDefine_Future_AB_Night> = DayKind::Snapshot;

template <class Record>
concept Dated = requires(Record r) {
    r.nDate;
};

// Appends records of one calendar date: what get makes of each item. Throws when a value has no
// encoding.
template <class Item, class Get>
void AppendChunks(std::vector<StreamChunk>& vecChunks, int nDate, std::span<const Item> items,
                  Get get) {
    using Record = std::remove_cvref_t<decltype(get(items[0]))>;
    char bytes[codec::kMaxRecordBytes<Record>];
    bool bNew = true;
    for (const Item& item : items) {
        const size_t nBytes = codec::EncodeBytes(get(item), bytes);
        if (nBytes == 0) throw StoreError("a value of 2^56 or more cannot be sent");
        if (bNew || vecChunks.back().strStream.size() + nBytes > kStreamBytes) {
            vecChunks.push_back({nDate, 0, {}});
            bNew = false;
        }
        vecChunks.back().strStream.append(bytes, nBytes);
        ++vecChunks.back().nItems;
    }
}
template <class Record>
void AppendChunks(std::vector<StreamChunk>& vecChunks, int nDate, std::span<const Record> records) {
    AppendChunks(
        vecChunks, nDate, records, [](const Record& record) -> auto& { return record; });
}

// The chunks of items, cut where their date changes.
template <class Item, class Date, class Get>
std::vector<StreamChunk> EncodeItems(std::span<const Item> items, Date date, Get get) {
    std::vector<StreamChunk> vecChunks;
    for (size_t i = 0; i < items.size();) {
        size_t j = i + 1;
        while (j < items.size() && date(items[j]) == date(items[i])) ++j;
        AppendChunks(vecChunks, date(items[i]), items.subspan(i, j - i), get);
        i = j;
    }
    return vecChunks;
}

// The same of records that carry it.
template <Dated Record, class Get>
std::vector<StreamChunk> EncodeItems(std::span<const Record> records, Get get) {
    return EncodeItems(
        records, [](const Record& record) { return record.nDate; }, get);
}
template <Dated Record>
std::vector<StreamChunk> EncodeDay(std::span<const Record> records) {
    return EncodeItems(
        records, [](const Record& record) -> auto& { return record; });
}

template <class Record>
std::vector<StreamChunk> EncodeDay(const std::vector<DayPart<Record>>& vecParts) {
    std::vector<StreamChunk> vecChunks;
    for (const auto& part : vecParts) {
        AppendChunks(vecChunks, part.nDate, std::span<const Record>(part.vecRecords));
    }
    return vecChunks;
}

template <class Record>
std::vector<Record> DecodeChunk(std::string strStream, int nItems) {
    std::vector<Record> vec(static_cast<size_t>(nItems));
    const auto nLen = static_cast<int>(strStream.size());
    strStream.append(8, '\0');  // the last value may be looked at beyond its end
    codec::DecodeStream(strStream.data(), nLen, vec.data(), nItems);
    return vec;
}

// What a stored day holds of this record, part by part.
template <class Record>
std::vector<DayPart<Record>> ReadRecords(Store& store, const DayKey& key,
                                         DayKind kind = kKindOf<Record>) {
    std::vector<DayPart<Record>> vecParts;
    std::string strStream;
    for (const ChunkRef& ref : store.ListDay(kind, key)) {
        if (!store.ReadChunk(ref.nId, strStream))
            throw StoreError("a day changed while it was read");
        if (vecParts.empty() || vecParts.back().nDate != ref.nDate)
            vecParts.push_back({ref.nDate, {}});
        auto& vec = vecParts.back().vecRecords;
        const auto more = DecodeChunk<Record>(strStream, ref.nItems);
        vec.insert(vec.end(), more.begin(), more.end());
    }
    return vecParts;
}

ZPMDefine_Tick_Night WithoutLevels(const ZPMDefine_Tick_AB_Night& tick);
ZPMDefine_Future_Night WithoutLevels(const ZPMDefine_Future_AB_Night& snapshot);

// Ticks, in both forms.
void PutRecords(Store& store, const DayKey& key, std::span<const ZPMDefine_Tick_AB_Night> ticks);

// Snapshots of futures and options, with what the packet heads say about the day.
void PutRecords(Store& store, const DayKey& key,
                std::span<const ZPMDefine_Future_AB_Night> snapshots,
                const DayReference& reference);

// Bars; the kind says whether key.nDay is a trading day or a year (YYYY0000).
void PutRecords(Store& store, DayKind kind, const DayKey& key,
                std::span<const ZPMDefine_KData> bars);

// Transactions, orders and order queues, which carry no date of their own.
template <class Record>
requires(!Dated<Record>) void PutRecords(Store& store, const DayKey& key,
                                         const std::vector<DayPart<Record>>& vecParts) {
    store.PutDay(kKindOf<Record>, key, EncodeDay(vecParts));
}
template <class Record>
requires(!Dated<Record>) void PutRecords(Store& store, const DayKey& key,
                                         const std::vector<Record>& vecRecords) {
    std::vector<StreamChunk> vecChunks;
    AppendChunks(vecChunks, key.nDay, std::span<const Record>(vecRecords));
    store.PutDay(kKindOf<Record>, key, vecChunks);
}

}  // namespace qrx::server

#endif
