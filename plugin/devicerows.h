#pragma once

#include "deviceentry.h"

#include <QHash>
#include <QStringList>

// The rows of the device list in order, each entry under its identifier (usn), and the choices
// made over all rows: which row a returning controller takes back, which absent row makes room,
// which selection survives. The model wraps its row signals around the changes.
class DeviceRows
{
public:
    int count() const { return int(m_usns.size()); }
    bool hasRow(int row) const { return row >= 0 && row < count(); }
    int indexOf(const QString &usn) const { return int(m_usns.indexOf(usn)); }
    bool contains(const QString &usn) const { return m_entries.contains(usn); }
    const QStringList &usns() const { return m_usns; }
    QString usnAt(int row) const { return m_usns.at(row); }
    DeviceEntry &entry(int row) { return m_entries[m_usns.at(row)]; }
    const DeviceEntry &entry(int row) const { return *m_entries.constFind(m_usns.at(row)); }
    // The live controller of the row `usn`, null when there is none.
    const ControlManette *deviceOf(const QString &usn) const;

    void clear();
    void addRow(const QString &usn, const DeviceEntry &entry = DeviceEntry());
    void removeRow(int row);
    // False when the row already has that identifier.
    bool renameRow(int row, const QString &usn);

    // The absent row remembered for the controller's identity; the one of `slot` when several
    // are; -1 when none is.
    int rememberedRow(const ControlManette &device, const QString &slot) const;
    // The row's identity key, with "#2", "#3"... when identical controllers are remembered apart.
    QString freeIdentityKey(int row) const;
    // The absent row seen longest ago (never seen first); -1 when every controller is here.
    int oldestAbsentRow() const;
    // The selected row seen last (the first among equals); -1 when none is selected.
    int lastSeenSelectedRow() const;

private:
    QStringList m_usns;
    QHash<QString, DeviceEntry> m_entries;
};
