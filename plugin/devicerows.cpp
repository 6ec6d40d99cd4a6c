#include "devicerows.h"

const ControlManette *DeviceRows::deviceOf(const QString &usn) const
{
    const auto it = m_entries.constFind(usn);
    return it == m_entries.constEnd() ? nullptr : it->device();
}

void DeviceRows::clear()
{
    m_usns.clear();
    m_entries.clear();
}

void DeviceRows::addRow(const QString &usn, const DeviceEntry &entry)
{
    m_usns.append(usn);
    m_entries.insert(usn, entry);
}

void DeviceRows::removeRow(int row)
{
    m_entries.remove(m_usns.takeAt(row));
}

bool DeviceRows::renameRow(int row, const QString &usn)
{
    if (m_usns.at(row) == usn)
        return false;
    m_entries.insert(usn, m_entries.take(m_usns.at(row)));
    m_usns[row] = usn;
    return true;
}

int DeviceRows::rememberedRow(const ControlManette &device, const QString &slot) const
{
    int found = -1;
    for (int row = 0; row < count(); ++row) {
        if (!entry(row).remembers(device))
            continue;
        if (m_usns.at(row) == slot)
            return row;
        if (found < 0)
            found = row;
    }
    return found;
}

QString DeviceRows::freeIdentityKey(int row) const
{
    const QString base = entry(row).identityKey();
    QString key = base;
    for (int n = 2; m_entries.contains(key); ++n)
        key = base + QStringLiteral("#%1").arg(n);
    return key;
}

int DeviceRows::oldestAbsentRow() const
{
    int oldest = -1;
    for (int row = 0; row < count(); ++row)
        if (!entry(row).device() &&
            (oldest < 0 || entry(row).lastSeen() < entry(oldest).lastSeen()))
            oldest = row;
    return oldest;
}

int DeviceRows::lastSeenSelectedRow() const
{
    int kept = -1;
    for (int row = 0; row < count(); ++row)
        if (entry(row).isSelected() && (kept < 0 || entry(row).lastSeen() > entry(kept).lastSeen()))
            kept = row;
    return kept;
}
