#pragma once

#include "profilemeta.h"

#include <QList>
#include <QObject>
#include <QThreadPool>

#include <functional>

// Reads the profile catalogue on a worker thread, so that the editor answers while a thousand
// "meta.json" files are read. A reading asked for while one is under way is done after it, and
// only the later result is handed over.
class CatalogueReader : public QObject
{
    Q_OBJECT

public:
    using Entries = QList<GamepadProfileMeta>;
    // `known`: what the editor listed when the reading began; `fresh`: what the folders hold.
    using Done = std::function<void(const Entries &known, const Entries &fresh)>;

    CatalogueReader(const Done &done, QObject *parent);
    // The worker posts to this object: it may not outlive it.
    ~CatalogueReader() override;

    void read(const Entries &known);
    bool reading() const { return m_reading; }
    // Blocks until the readings asked for are handed over.
    void waitForReading();

private:
    void start();
    void finished(const Entries &fresh);

    Done m_done;
    QThreadPool m_pool;
    Entries m_known;
    bool m_reading = false;
    bool m_again = false;
};
