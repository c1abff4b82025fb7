#ifndef LS_WIRECHECK_H
#define LS_WIRECHECK_H

#include <QString>
#include <QVariant>

namespace ls {

enum class WireCheck {
    Ok,
    // Nested deeper than maximumNestingDepth: the bus would drop the sender's connection.
    TooDeep,
    // A value QtDBus cannot marshal, or a received one without a plain Qt form.
    NoDBusForm,
    // Text with a NUL or a lone surrogate, which would not arrive as it was.
    BadText,
};

// Checks a value about to be sent as one message argument, before QtDBus or the bus sees it.
// typeName receives the name of the offending type for NoDBusForm.
WireCheck checkOutgoing(const QVariant &value, QString *typeName);
// fromDBusValue() with the reason of a failure; *out is invalid unless the result is Ok.
WireCheck convertIncoming(const QVariant &value, QVariant *out);

} // namespace ls

#endif // LS_WIRECHECK_H
