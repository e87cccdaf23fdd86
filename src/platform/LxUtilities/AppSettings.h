#pragma once

#include <LxUtilities/lxutilities_export.h>

#include <QtCore/QObject>
#include <QtCore/QString>

class AppSettingsPrivate;
class QSettings;

/*
 * The application's numbered settings, kept with QSettings. Each setting is an unsigned
 * number under its index:
 *   0  what to do with a modified library when the application asks to save:
 *      0 = save silently, 1 = ask the user first (default).
 * Unknown indexes read as 0.
 */
class LXUTILITIES_EXPORT AppSettings : public QObject
{
    Q_OBJECT

public:
    enum Setting : int {
        SaveModifiedLibraries = 0,
    };
    enum SaveBehaviour : unsigned int {
        SaveSilently = 0,
        AskBeforeSaving = 1,
    };

    // The process-wide settings object; created on first use, owned by the application.
    static AppSettings *instance();

    unsigned int setting(int index) const;
    // Stores the value; emits settingChanged only when it differs from the stored one.
    void setSetting(int index, unsigned int value);

    // The settings store itself, shared with DefaultPathSetting.
    QSettings *settings() const;
    // Keeps the settings in an INI file of this name instead of the platform's default
    // place (for hosts with their own settings file, and for tests); an empty name goes
    // back to the default.
    void setSettingsFile(const QString &fileName);

signals:
    // Emitted by setSetting() once per actual change.
    void settingChanged(int index, unsigned int value);

private:
    AppSettings();
    ~AppSettings() override;
    AppSettingsPrivate *const d;
};
