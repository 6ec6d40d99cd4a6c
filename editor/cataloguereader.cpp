#include "cataloguereader.h"

#include "profileoperations.h"

#include <QCoreApplication>

CatalogueReader::CatalogueReader(const Done &done, QObject *parent) : QObject(parent), m_done(done)
{
    m_pool.setMaxThreadCount(1);
}

CatalogueReader::~CatalogueReader()
{
    m_pool.waitForDone();
}

void CatalogueReader::read(const Entries &known)
{
    m_known = known;
    if (m_reading) {
        m_again = true; // the folders changed during the reading: it may have missed it
        return;
    }
    start();
}

void CatalogueReader::waitForReading()
{
    while (m_reading) {
        m_pool.waitForDone();
        QCoreApplication::sendPostedEvents(this, QEvent::MetaCall);
    }
}

void CatalogueReader::start()
{
    m_reading = true;
    m_again = false;
    m_pool.start([this] {
        const Entries fresh = readProfileEntries();
        QMetaObject::invokeMethod(
            this, [this, fresh] { finished(fresh); }, Qt::QueuedConnection);
    });
}

void CatalogueReader::finished(const Entries &fresh)
{
    if (m_again) {
        start();
        return;
    }
    m_reading = false;
    m_done(m_known, fresh);
}
