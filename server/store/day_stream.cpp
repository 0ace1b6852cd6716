// What is written in more than one form, and the plain forms derived from those with levels.
#include "store/day_stream.h"

namespace qrx::server {

// Both records list the members that they share by the same names.
#define COPY(member) memcpy(&to.member, &from.member, sizeof to.member)

ZPMDefine_Tick_Night WithoutLevels(const ZPMDefine_Tick_AB_Night& from) {
    ZPMDefine_Tick_Night to;
    COPY(nDate);
    COPY(nTime);
    COPY(nPrice);
    COPY(iVolume);
    COPY(iTurnover);
    COPY(nTickField1);
    COPY(nTickField2);
    COPY(chTickFlag1);
    COPY(chTickFlag2);
    COPY(iAccVolume);
    COPY(iAccTurnover);
    COPY(nExt);
    COPY(nIndexField);
    return to;
}

ZPMDefine_Future_Night WithoutLevels(const ZPMDefine_Future_AB_Night& from) {
    ZPMDefine_Future_Night to;
    COPY(nDate);
    COPY(nTime);
    COPY(nValue0);
    COPY(iVolume);
    COPY(iTurnover);
    COPY(nPosition);
    COPY(chFlag);
    COPY(nValue1);
    COPY(nValue2);
    COPY(nValue3);
    COPY(nSettle);
    COPY(nAuxValue);
    return to;
}

#undef COPY

void PutRecords(Store& store, const DayKey& key, std::span<const ZPMDefine_Tick_AB_Night> ticks) {
    store.PutDay(DayKind::TickLevels, key, EncodeDay(ticks));
    store.PutDay(DayKind::Tick, key, EncodeItems(ticks, [](const ZPMDefine_Tick_AB_Night& tick) {
                     return WithoutLevels(tick);
                 }));
}

void PutRecords(Store& store, const DayKey& key,
                std::span<const ZPMDefine_Future_AB_Night> snapshots,
                const DayReference& reference) {
    store.PutDay(DayKind::Snapshot, key, EncodeDay(snapshots));
    store.PutDayReference(key, reference);
}

void PutRecords(Store& store, DayKind kind, const DayKey& key,
                std::span<const ZPMDefine_KData> bars) {
    store.PutDay(kind, key, EncodeDay(bars));
}

}  // namespace qrx::server
