#pragma once

#include <QByteArrayView>
#include <QHashFunctions>

// What tells two byte strings apart without keeping them: their size and two 64-bit hashes with
// unrelated seeds. An accidental match of all three is out of reach for the files of a profile;
// hashing runs at memory speed, so a document of several hundred kilobytes costs microseconds.
// The default value stands for bytes that could not be read.
struct ContentDigest
{
    qint64 size = -1;
    size_t first = 0;
    size_t second = 0;

    friend bool operator==(const ContentDigest &a, const ContentDigest &b)
    {
        return a.size == b.size && a.first == b.first && a.second == b.second;
    }
    friend bool operator!=(const ContentDigest &a, const ContentDigest &b) { return !(a == b); }
    friend size_t qHash(const ContentDigest &digest, size_t seed = 0)
    {
        return qHashMulti(seed, digest.size, digest.first, digest.second);
    }
};

inline ContentDigest contentDigestOf(QByteArrayView bytes)
{
    return {bytes.size(), qHash(bytes, size_t(0x9e3779b97f4a7c15)),
            qHash(bytes, size_t(0xc2b2ae3d27d4eb4f))};
}
