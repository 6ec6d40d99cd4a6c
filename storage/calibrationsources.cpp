#include "calibrationsources.h"

#include "jsonfile.h"

#include <QDir>
#include <QFileInfo>

namespace {

QString hexDigits(quint32 id)
{
    return QStringLiteral("%1").arg(id, 4, 16, QLatin1Char('0'));
}

QString overrideFileName(const GamepadProfileInfo &profile)
{
    const QString name = profile.calibrationOverrideFile.trimmed();
    return name.isEmpty() ? kDefaultOverrideFile : name;
}

} // namespace

QString calibrationSourceLabel(CalibrationSource source)
{
    switch (source) {
    case CalibrationSource::BaseDevice:
        return QStringLiteral("Base device");
    case CalibrationSource::ProfileOverride:
        return QStringLiteral("Profile override");
    default:
        return QStringLiteral("Defaults");
    }
}

QString calibrationSourceLabel(int source)
{
    return calibrationSourceLabel(static_cast<CalibrationSource>(source));
}

// Characters, not UTF-16 units: a letter beyond the basic plane is kept whole, and the cut at 64
// never splits one.
QString sanitizedDeviceName(const QString &name)
{
    constexpr qsizetype kMaxCharacters = 64;
    const char32_t underscore = U'_';
    QList<char32_t> kept;
    for (char32_t c : name.trimmed().toLower().toUcs4()) {
        if (!QChar::isLetter(c) && !QChar::isDigit(c))
            c = underscore;
        if (c != underscore || kept.isEmpty() || kept.last() != underscore)
            kept.append(c);
    }
    const QString result =
        QString::fromUcs4(kept.constData(), qMin(kept.size(), kMaxCharacters)).trimmed();
    return result.isEmpty() ? QStringLiteral("unknown") : result;
}

QString baseCalibrationFileName(const GamepadDeviceIdentity &identity)
{
    if (identity.name.trimmed().isEmpty() && identity.vendorId == 0 && identity.productId == 0)
        return {};
    return QStringLiteral("%1_%2_%3.json")
        .arg(hexDigits(identity.vendorId), hexDigits(identity.productId),
             sanitizedDeviceName(identity.name));
}

QString findBaseCalibrationFile(const GamepadDeviceIdentity &identity)
{
    const QString fileName = baseCalibrationFileName(identity);
    if (fileName.isEmpty())
        return {};
    const QStringList roots = candidateProfileRoots();
    for (const QString &root : roots) {
        const QString path = QDir(root).filePath(kBaseCalibrationFolder + u'/' + fileName);
        if (QFileInfo(path).isFile())
            return path;
    }
    return {};
}

QString baseCalibrationWritePath(const GamepadDeviceIdentity &identity)
{
    const QString fileName = baseCalibrationFileName(identity);
    const QString root = writableProfilesRoot();
    if (fileName.isEmpty() || root.isEmpty())
        return {};
    return QDir(root).filePath(kBaseCalibrationFolder + u'/' + fileName);
}

bool profileCanCarryOverride(const GamepadProfileInfo &profile)
{
    return !profile.id.isNull() && !profile.folder.trimmed().isEmpty();
}

QString profileOverridePath(const GamepadProfileInfo &profile)
{
    if (!profileCanCarryOverride(profile))
        return {};
    const QString name = overrideFileName(profile);
    if (QDir::isAbsolutePath(name))
        return QDir::cleanPath(name);
    return QDir::cleanPath(profile.folder.trimmed() + u'/' + name);
}

QString profileOverrideWritePath(const GamepadProfileInfo &profile)
{
    if (!profileCanCarryOverride(profile))
        return {};
    return containedFilePath(QDir::cleanPath(profile.folder.trimmed()), overrideFileName(profile));
}

ResolvedCalibration resolveCalibration(const GamepadDeviceIdentity &identity,
                                       const GamepadProfileInfo &profile, int axisCount,
                                       int buttonCount)
{
    ResolvedCalibration result;
    result.calibration = defaultCalibration(axisCount, buttonCount);

    result.basePath = findBaseCalibrationFile(identity);
    GamepadCalibration loaded;
    if (!result.basePath.isEmpty() &&
        loadCalibrationFile(result.basePath, &loaded, nullptr, axisCount, buttonCount)) {
        result.calibration = loaded;
        result.source = CalibrationSource::BaseDevice;
        result.sourcePath = result.basePath;
    }

    result.overridePath = profileOverridePath(profile);
    const bool overrideMode =
        profile.calibrationMode.compare(QLatin1String("override"), Qt::CaseInsensitive) == 0;
    if (overrideMode && !result.overridePath.isEmpty() &&
        loadCalibrationFile(result.overridePath, &loaded, nullptr, axisCount, buttonCount)) {
        result.calibration = loaded;
        result.source = CalibrationSource::ProfileOverride;
        result.sourcePath = result.overridePath;
    }

    result.calibration = normalizeCalibration(result.calibration, axisCount, buttonCount);
    return result;
}
