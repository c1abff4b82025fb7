// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#ifndef COMMON_H
#define COMMON_H

#include <QString>

#include <string>

// Each source file gets its own copy: the sub-command id of the catalogue requests and the name
// an enum lookup by value gives when no enumerator carries the value.
static const QString undefinedId = QStringLiteral("Undefined");

// The qualified method name found in the pretty signature, a blank and the tag, e.g.
// "CommandHandler::getCommands ERROR:" from ("getCommands",
// "const QVariantList CommandHandler::getCommands(const QString&) const", "ERROR:").
inline std::string logPrefix(const std::string &name, const std::string &signature,
                             const std::string &tag)
{
    const std::string::size_type position = signature.find(name);
    const std::string::size_type space = signature.rfind(' ', position);
    const std::string::size_type begin = space == std::string::npos ? 0 : space + 1;
    const std::string::size_type parenthesis = signature.find('(', position + name.size());
    const std::string::size_type end
            = parenthesis == std::string::npos ? signature.size() : parenthesis;
    return signature.substr(begin, end - begin) + ' ' + tag;
}

#endif // COMMON_H
