#ifndef CATALOGUE_H
#define CATALOGUE_H

#include <QString>
#include <QStringList>
#include <QVariantList>
#include <QVector>

#include <climits>

// What the device knows about its commands: names, descriptions and argument rules. The names
// and numbers come from the platform library's enums; this adds what the device itself defines.
namespace Catalogue {

enum class ArgumentType { Int, Bool, String };

struct Argument
{
    QString name;
    ArgumentType type = ArgumentType::String;
    // Allowed texts of a string argument; any text when empty.
    QStringList choices;
    int minimum = INT_MIN;
    int maximum = INT_MAX;
};

struct Command
{
    int id = 0;
    QString name;
    QString category;
    QString description;
    QVector<Argument> arguments;
};

// The type's text as it travels in the argument records: "int", "bool" or "string".
QString typeName(ArgumentType type);

// The command of that number, or null when there is none.
const Command *command(int id);

// The category entries, in category order: id and description each.
QVariantList categoryEntries();

// The command entries of one category, in enum order; *known is false for a name that is no
// category.
QVariantList commandEntries(const QString &category, bool *known);

} // namespace Catalogue

#endif // CATALOGUE_H
