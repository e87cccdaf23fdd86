#pragma once

#include <LxUtilities/lxutilities_export.h>

#include <QtCore/QString>

// The kinds of start directory the application remembers.
enum eSettingDefaultPaths : int {
    eSettingDefaultPathProjects = 0,
    eSettingDefaultPathBlockLibraries = 1,
    eSettingDefaultPathExports = 2,
};

/*
 * The remembered start directory of one kind of file dialog. The path is kept in the
 * settings of AppSettings; until one is stored, the user's documents folder stands for it.
 */
class LXUTILITIES_EXPORT DefaultPathSetting
{
public:
    // A new setting object for that kind; the caller owns it.
    [[nodiscard]] static DefaultPathSetting *create(eSettingDefaultPaths kind);
    ~DefaultPathSetting();

    eSettingDefaultPaths kind() const;
    QString path() const;
    void setPath(const QString &path);

private:
    explicit DefaultPathSetting(eSettingDefaultPaths kind);
    eSettingDefaultPaths m_kind;
    Q_DISABLE_COPY(DefaultPathSetting)
};
