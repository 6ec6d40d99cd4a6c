#pragma once

// Shared by the fuzz entry points: libFuzzer's signature, the size bound every reader in the
// program applies before parsing, and a check that stops the run like a sanitizer report.

#include <QByteArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

namespace fuzz {

// Inputs above this are not interesting for the parsers' logic and only slow the run down.
constexpr size_t kMaxInput = 1 << 20;

inline QByteArray bytesOf(const uint8_t *data, size_t size)
{
    return QByteArray(reinterpret_cast<const char *>(data), int(size));
}

inline QJsonObject objectOf(const QByteArray &bytes)
{
    return QJsonDocument::fromJson(bytes).object();
}

// A broken invariant is a finding: report it and abort so both libFuzzer and the replay notice.
inline void require(bool condition, const char *what)
{
    if (condition)
        return;
    std::fprintf(stderr, "fuzz invariant broken: %s\n", what);
    std::abort();
}

} // namespace fuzz
