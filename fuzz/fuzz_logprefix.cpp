// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

// The input: a mode byte, then four texts, each a length byte and its bytes: the function name,
// the text before it in the signature, the text after it, and the tag. An odd mode puts the name
// between the two halves of the signature, an even one leaves it out.

#include "fuzzinput.h"

#include "Common.h"

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

std::string text(ByteReader &in)
{
    const QByteArray bytes = in.bytes(in.byte());
    return std::string(bytes.constData(), size_t(bytes.size()));
}

[[noreturn]] void fail(const char *what, const std::string &name, const std::string &signature,
                       const std::string &tag, const std::string &prefix)
{
    std::fprintf(stderr, "fuzz_logprefix: %s: name \"%s\" signature \"%s\" tag \"%s\" -> \"%s\"\n",
                 what, name.c_str(), signature.c_str(), tag.c_str(), prefix.c_str());
    std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    ByteReader in(data, size);
    const bool nameInside = (in.byte() & 1) != 0;
    const std::string name = text(in);
    const std::string before = text(in);
    const std::string after = text(in);
    const std::string tag = text(in);
    const std::string signature = nameInside ? before + name + after : before + after;

    const std::string prefix = logPrefix(name, signature, tag);

    // Whatever the signature, the line starts with a piece of it, then a blank and the tag.
    const std::string ending = ' ' + tag;
    if (prefix.size() < ending.size()
        || prefix.compare(prefix.size() - ending.size(), ending.size(), ending) != 0)
        fail("the prefix does not end with the tag", name, signature, tag, prefix);
    const std::string piece = prefix.substr(0, prefix.size() - ending.size());
    if (signature.find(piece) == std::string::npos)
        fail("the prefix is no piece of the signature", name, signature, tag, prefix);

    // A signature shaped like a pretty function name: the qualified name, whatever comes before.
    const bool wellFormed
            = nameInside && !name.empty() && name.find_first_of(" (") == std::string::npos
              && signature.find(name) == before.size() && (after.empty() || after.front() == '(');
    if (wellFormed) {
        const std::string::size_type space = before.rfind(' ');
        const std::string qualified
                = (space == std::string::npos ? before : before.substr(space + 1)) + name;
        if (piece != qualified)
            fail("the prefix is not the qualified name", name, signature, tag, prefix);
    }
    return 0;
}
