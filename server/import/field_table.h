// share/fields.def as a table: where each named column lies in the server's record, and how its
// text is read.
#ifndef QRX_SERVER_IMPORT_FIELD_TABLE_H
#define QRX_SERVER_IMPORT_FIELD_TABLE_H

#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "fields.h"

namespace qrx::server {

struct Field {
    FieldGroup group;
    std::string strColumn;
    FieldKind kind;
    size_t nOffset;  // in the server's record; in the public record for the two groups only there
    size_t nWidth;   // 1, 4 or 8 bytes
};

// The fields of some groups, in the order of the table.
std::vector<Field> FieldsOf(std::initializer_list<FieldGroup> groups);

}  // namespace qrx::server

#endif
