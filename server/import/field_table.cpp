// The expansion of share/fields.def.
#include "import/field_table.h"

#include <algorithm>
#include <utility>

#include "codec/future_records.h"
#include "codec/kline_records.h"
#include "codec/tick_records.h"
#include "qrx/futures.h"

namespace qrx::server {
namespace {

// The record that a group's members belong to.
namespace record {
using Tick = ZPMDefine_Tick_AB_Night;
using Book = ZPMDefine_Tick_AB_Night;
using Transaction = ZPMDefine_Transaction_v2;
using Order = ZPMDefine_Order_v2;
using OrderQueue = ZPMDefine_OrderQueue;
using Bar = ZPMDefine_KData;
using IndexBar = ZPMDefine_KData_Index;
using Future = ZPMDefine_Future_AB_Night;
using FutureBook = ZPMDefine_Future_AB_Night;
using FutureTotal = QRXDefine_FutureAB;
using FutureDay = QRXDefine_FutureAB;
}  // namespace record

std::vector<Field> AllFields() {
    std::vector<Field> vec;
#define QRX_FIELD(Group, member, column, Kind, text)                                             \
    vec.push_back({FieldGroup::Group, #column, FieldKind::Kind, offsetof(record::Group, member), \
                   sizeof(std::declval<record::Group>().member)});
#define QRX_FIELD_ARRAY(Group, member, count, column, Kind, text)                           \
    for (size_t i = 0; i < count; ++i) {                                                    \
        constexpr size_t nWidth = sizeof(std::declval<record::Group>().member[0]);          \
        vec.push_back({FieldGroup::Group, #column + std::to_string(i + 1), FieldKind::Kind, \
                       offsetof(record::Group, member) + i * nWidth, nWidth});              \
    }
#include "fields.def"
    return vec;
}

}  // namespace

std::vector<Field> FieldsOf(std::initializer_list<FieldGroup> groups) {
    static const std::vector<Field> kAll = AllFields();
    std::vector<Field> vec;
    for (const FieldGroup group : groups) {
        std::copy_if(kAll.begin(), kAll.end(), std::back_inserter(vec),
                     [group](const Field& field) { return field.group == group; });
    }
    return vec;
}

}  // namespace qrx::server
