// The records that are imported by trading day, and what is special to each: the fields that a row
// may fill, the columns that must be there, and the rules that complete a record by itself.
#ifndef QRX_SERVER_IMPORT_DAY_RECORDS_H
#define QRX_SERVER_IMPORT_DAY_RECORDS_H

#include <cstddef>
#include <cstring>
#include <string>
#include <vector>

#include "import/field_table.h"
#include "import/quantity.h"
#include "import/row_reader.h"
#include "store/day_stream.h"

namespace qrx::server {

// The fields that one row may fill in one record. A file of order queues may have both sides in a
// row; then a row makes two records, each with its own columns.
struct Layout {
    std::vector<Field> vecFields;
    std::string strPrefix;
    int nSide = 0;
};

template <class Record>
struct Traits;
template <>
struct Traits<ZPMDefine_Tick_AB_Night> {
    static std::vector<Layout> Layouts() {
        return {{FieldsOf({FieldGroup::Tick, FieldGroup::Book}), {}}};
    }
    static constexpr const char* kRequired[] = {"price"};
};
template <>
struct Traits<ZPMDefine_Transaction_v2> {
    static std::vector<Layout> Layouts() { return {{FieldsOf({FieldGroup::Transaction}), {}}}; }
    static constexpr const char* kRequired[] = {"price", "volume"};
};
template <>
struct Traits<ZPMDefine_Order_v2> {
    static std::vector<Layout> Layouts() { return {{FieldsOf({FieldGroup::Order}), {}}}; }
    static constexpr const char* kRequired[] = {"price", "volume", "side"};
};
template <>
struct Traits<ZPMDefine_OrderQueue> {
    static std::vector<Layout> Layouts() {
        const auto vec = FieldsOf({FieldGroup::OrderQueue});
        return {{vec, {}}, {vec, "bid_", 'B'}, {vec, "ask_", 'S'}};
    }
    static constexpr const char* kRequired[] = {"price"};
};
template <>
struct Traits<ZPMDefine_Future_AB_Night> {
    static std::vector<Layout> Layouts() {
        return {{FieldsOf({FieldGroup::Future, FieldGroup::FutureBook}), {}}};
    }
    static constexpr const char* kRequired[] = {"price"};
};

// A layout in the columns of a file.
struct BoundLayout {
    std::vector<BoundField> vecFields;
    int nSide;
    bool bItems;  // the number of queue items is given
};

template <class Record>
constexpr bool HasVolume = requires(Record r) {
    r.iVolume;
};

// A row as it is dated and put in order, by pointers to it.
template <class Record>
struct Row {
    int64_t nLine;  // 0: was stored before
    int nDay;
    int nDate;
    int nTime;
    Quantity volume, turnover;
    Record record;
};

// What a record's own rules add; false: there is no record.
template <class Record>
bool FinishRecord(Record& record, const BoundLayout& layout) {
    if constexpr (kKindOf<Record> == DayKind::OrderQueue) {
        if (layout.nSide != 0) record.nQueueField[1] = layout.nSide;
        int nItems = 50;
        while (nItems > 0 && record.nQueueItems[nItems - 1] == 0) --nItems;
        if (!layout.bItems) record.nQueueField[3] = nItems;
        return layout.nSide == 0 || record.nQueueField[0] != 0 || nItems != 0;
    }
    return true;
}

// And what they say about the security's type.
template <class Record>
void FitToType(Record& record, int nCodeType) {
    if constexpr (kKindOf<Record> == DayKind::TickLevels) {
        if (nCodeType < 16) {  // an index has no levels
            // Levels and their sums stand together; packed, so by bytes.
            constexpr size_t nFirst = offsetof(Record, nBook1);
            memset(reinterpret_cast<char*>(&record) + nFirst, 0, offsetof(Record, nExt) - nFirst);
        }
    }
}

}  // namespace qrx::server

#endif
