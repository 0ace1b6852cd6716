// The table of fields.
#include <gtest/gtest.h>

#include <set>
#include <string>

namespace {

// The record that a group of fields belongs to, by its first group.
std::string RecordOf(const std::string& strGroup) {
    if (strGroup == "Book") return "Tick";
    if (strGroup == "IndexBar") return "Bar";
    return strGroup.rfind("Future", 0) == 0 ? "Future" : strGroup;
}

// A record's columns are told apart by their names, with and without levels.
TEST(FieldTable, HasEachColumnOfARecordOnce) {
    std::set<std::string> setColumns;
#define QRX_FIELD(Group, member, column, Kind, text)                                    \
    EXPECT_TRUE(setColumns.insert(RecordOf(#Group).append(" ").append(#column)).second) \
        << #Group " " #column;
#define QRX_FIELD_ARRAY(Group, member, count, column, Kind, text) \
    QRX_FIELD(Group, member, column, Kind, text)
#include "../../share/fields.def"
    EXPECT_FALSE(setColumns.empty());
}

}  // namespace
