// The table of fields.
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

namespace {

struct FieldRow {
    std::string strGroup, strColumn;
};

std::vector<FieldRow> FieldRows() {
    std::vector<FieldRow> vec;
#define QRX_FIELD(Group, member, column, Kind, text) vec.push_back({#Group, #column});
#define QRX_FIELD_ARRAY(Group, member, count, column, Kind, text) vec.push_back({#Group, #column});
#include "../../share/fields.def"
    return vec;
}

// A record's columns are told apart by their names, with and without levels.
TEST(FieldTable, HasEachColumnOfARecordOnce) {
    const std::vector<std::set<std::string>> kRecords{
        {"Tick", "Book"},    {"Transaction"},
        {"Order"},           {"OrderQueue"},
        {"Bar", "IndexBar"}, {"Future", "FutureBook", "FutureTotal", "FutureDay"}};
    size_t nRows = 0;
    for (const auto& setGroups : kRecords) {
        std::set<std::string> setColumns;
        for (const auto& row : FieldRows()) {
            if (setGroups.count(row.strGroup) == 0) continue;
            ++nRows;
            EXPECT_TRUE(setColumns.insert(row.strColumn).second) << row.strColumn;
        }
    }
    EXPECT_EQ(FieldRows().size(), nRows);
}

}  // namespace
