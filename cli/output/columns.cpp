// The expansion of the table of fields: of every record the groups that it consists of, led by the
// code and, where the table's server record has no date of its own, by the date.
#include "output/columns.h"

#include <cstddef>
#include <cstring>
#include <string>

namespace qrx::cli {
namespace {

using G = FieldGroup;

// Discarded branches of a template are not looked into, so a record needs the members of its own
// groups only.
template <class Record, FieldGroup... kGroups>
std::vector<RecordColumn> Expand(bool bDate) {
    std::vector<RecordColumn> columns;
    const auto add = [&](std::string strName, Kind kind, size_t nOffset, size_t nBytes) {
        RecordColumn& column = columns.emplace_back();
        column.strName = std::move(strName);
        column.kind = kind;
        column.nOffset = nOffset;
        column.nBytes = nBytes;
    };
    add("code", Kind::Text, offsetof(Record, chVelaCode), sizeof(Record::chVelaCode));
    if (bDate) add("date", Kind::Date, offsetof(Record, nDate), sizeof(Record::nDate));
#define QRX_FIELD(GROUP, MEMBER, COLUMN, KIND, TEXT)                                               \
    if constexpr (((FieldGroup::GROUP == kGroups) || ...)) {                                       \
        add(#COLUMN, Kind::KIND, offsetof(Record, MEMBER), sizeof(std::declval<Record>().MEMBER)); \
    }
#define QRX_FIELD_ARRAY(GROUP, MEMBER, COUNT, COLUMN, KIND, TEXT)                                  \
    if constexpr (((FieldGroup::GROUP == kGroups) || ...)) {                                       \
        constexpr size_t kUnit = sizeof(std::declval<Record>().MEMBER[0]);                         \
        static_assert(sizeof(std::declval<Record>().MEMBER) == (COUNT)*kUnit);                     \
        for (size_t i = 0; i < (COUNT); ++i) {                                                     \
            add(#COLUMN + std::to_string(i + 1), Kind::KIND, offsetof(Record, MEMBER) + i * kUnit, \
                kUnit);                                                                            \
        }                                                                                          \
    }
#include "fields.def"
    return columns;
}

template <class Integer>
int64_t Load(const char* p) {
    Integer value;
    memcpy(&value, p, sizeof value);
    return value;
}

}  // namespace

#define QRX_RECORD(Record, bDate, ...)                                                        \
    template <>                                                                               \
    const std::vector<RecordColumn>& ColumnsOf<Record>() {                                    \
        static const std::vector<RecordColumn> kColumns = Expand<Record, __VA_ARGS__>(bDate); \
        return kColumns;                                                                      \
    }
QRX_RECORD(QRXDefine_Tick, false, G::Tick)
QRX_RECORD(QRXDefine_TickAB, false, G::Tick, G::Book)
QRX_RECORD(QRXDefine_Transaction, true, G::Transaction)
QRX_RECORD(QRXDefine_Order, true, G::Order)
QRX_RECORD(QRXDefine_OrderQueue, true, G::OrderQueue)
QRX_RECORD(QRXDefine_KLine, false, G::Bar)
QRX_RECORD(QRXDefine_Future, false, G::Future, G::FutureTotal, G::FutureDay)
QRX_RECORD(QRXDefine_FutureAB, false, G::Future, G::FutureBook, G::FutureTotal, G::FutureDay)

Cell LoadCell(const RecordColumn& column, const char* pRecord) {
    const char* p = pRecord + column.nOffset;
    Cell cell;
    if (column.kind == Kind::Text) {
        const std::string_view whole(p, column.nBytes);
        cell.text = whole.substr(0, whole.find('\0'));
    } else if (column.nBytes == sizeof(int8_t)) {
        cell.nValue = Load<int8_t>(p);
    } else if (column.nBytes == sizeof(int32_t)) {
        cell.nValue = Load<int32_t>(p);
    } else {
        cell.nValue = Load<int64_t>(p);
    }
    return cell;
}

}  // namespace qrx::cli
