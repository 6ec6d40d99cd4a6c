#pragma once

#include <QTextStream>

#include <cstdio>

// The command-line programs' standard output and error, one stream each for the whole run.
inline QTextStream &out()
{
    static QTextStream stream(stdout);
    return stream;
}

inline QTextStream &err()
{
    static QTextStream stream(stderr);
    return stream;
}
