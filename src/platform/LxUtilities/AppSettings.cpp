#include "AppSettings.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QSettings>

#include <memory>

namespace {

QString keyOf(int index)
{
    return QStringLiteral("Settings/%1").arg(index);
}

unsigned int defaultOf(int index)
{
    return index == AppSettings::SaveModifiedLibraries ? unsigned(AppSettings::AskBeforeSaving) : 0u;
}

} // namespace

class AppSettingsPrivate
{
public:
    std::unique_ptr<QSettings> settings;
};

AppSettings *AppSettings::instance()
{
    static AppSettings *settings = new AppSettings;
    return settings;
}

AppSettings::AppSettings()
    : d(new AppSettingsPrivate)
{
    setSettingsFile(QString());
}

AppSettings::~AppSettings()
{
    delete d;
}

unsigned int AppSettings::setting(int index) const
{
    bool ok = false;
    const unsigned int value = d->settings->value(keyOf(index), defaultOf(index)).toUInt(&ok);
    return ok ? value : defaultOf(index);
}

void AppSettings::setSetting(int index, unsigned int value)
{
    if (setting(index) == value && d->settings->contains(keyOf(index)))
        return;
    d->settings->setValue(keyOf(index), value);
    emit settingChanged(index, value);
}

QSettings *AppSettings::settings() const
{
    return d->settings.get();
}

void AppSettings::setSettingsFile(const QString &fileName)
{
    if (fileName.isEmpty()) {
        const QString organization = QCoreApplication::organizationName().isEmpty()
            ? QStringLiteral("KvBlockLibrary") : QCoreApplication::organizationName();
        d->settings = std::make_unique<QSettings>(QSettings::IniFormat, QSettings::UserScope,
                                                  organization, QStringLiteral("KvBlockLibrary"));
    } else {
        d->settings = std::make_unique<QSettings>(fileName, QSettings::IniFormat);
    }
}
