#include "DefaultPathSetting.h"

#include "AppSettings.h"

#include <QtCore/QSettings>
#include <QtCore/QStandardPaths>

namespace {

QString keyOf(eSettingDefaultPaths kind)
{
    return QStringLiteral("DefaultPaths/%1").arg(int(kind));
}

} // namespace

DefaultPathSetting *DefaultPathSetting::create(eSettingDefaultPaths kind)
{
    return new DefaultPathSetting(kind);
}

DefaultPathSetting::DefaultPathSetting(eSettingDefaultPaths kind)
    : m_kind(kind)
{
}

DefaultPathSetting::~DefaultPathSetting() = default;

eSettingDefaultPaths DefaultPathSetting::kind() const
{
    return m_kind;
}

QString DefaultPathSetting::path() const
{
    const QString stored = AppSettings::instance()->settings()->value(keyOf(m_kind)).toString();
    if (!stored.isEmpty())
        return stored;
    return QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
}

void DefaultPathSetting::setPath(const QString &path)
{
    AppSettings::instance()->settings()->setValue(keyOf(m_kind), path);
}
