// The groups and kinds of share/fields.def as enumerations; what they mean is said there.
#ifndef QRX_SHARE_FIELDS_H
#define QRX_SHARE_FIELDS_H

namespace qrx {

enum class FieldGroup {
    Tick,
    Book,
    Transaction,
    Order,
    OrderQueue,
    Bar,
    IndexBar,
    Future,
    FutureBook,
    FutureTotal,
    FutureDay
};

// Text is the kind of what is no field of a record: codes and names.
enum class FieldKind { Text, Date, Time, Price, Volume, Amount, Count, Number, Flag };

}  // namespace qrx

#endif
