// docs/protocol.md shows share/fields.def row by row: a change of one is a change of the other.
#include <gtest/gtest.h>

#include <fstream>
#include <set>
#include <sstream>

namespace {

struct FieldRow {
    std::string strGroup, strMember, strColumn, strKind, strText;
};

std::vector<FieldRow> FieldRows() {
    std::vector<FieldRow> vec;
#define QRX_FIELD(Group, member, column, Kind, text) \
    vec.push_back({#Group, #member, #column, #Kind, text});
#define QRX_FIELD_ARRAY(Group, member, count, column, Kind, text) \
    vec.push_back({#Group, std::string(#member) + "[" #count "]", \
                   std::string(#column) + "1.." + std::to_string(count), #Kind, text});
#include "../../share/fields.def"
    return vec;
}

TEST(FieldTable, IsTheTableOfTheProtocolPage) {
    std::string strTable = "| Group | Member | Column | Kind | Meaning |\n|---|---|---|---|---|\n";
    for (const auto& row : FieldRows()) {
        strTable += "| " + row.strGroup + " | `" + row.strMember + "` | `" + row.strColumn +
                    "` | " + row.strKind + " | " + row.strText + " |\n";
    }
    std::ifstream file(QRX_SOURCE_DIR "/docs/protocol.md");
    std::stringstream text;
    text << file.rdbuf();
    EXPECT_NE(std::string::npos, text.str().find(strTable)) << "the page should hold this table:\n"
                                                            << strTable;
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
