#include "System.h"
#include "System_p.h"

System *System::instance()
{
    // Function-local static: created on first use, thread-safe, destroyed at exit.
    static System system;
    return &system;
}

System::System()
    : d(new SystemPrivate)
{
    d->accessLevels = {
        {0, tr("Gast")},
        {1, tr("Bediener")},
        {2, tr("Instandhalter")},
        {3, tr("Inbetriebnehmer")},
        {4, tr("Applikateur")},
        {5, tr("Experte")},
        {6, tr("Service")},
        {7, tr("Entwickler")},
    };
}

System::~System()
{
    delete d;
}

unsigned int System::currentAccessLevel() const
{
    return d->currentAccessLevel;
}

void System::setCurrentAccessLevel(unsigned int level)
{
    if (level == d->currentAccessLevel)
        return;
    d->currentAccessLevel = level;
    Q_EMIT currentAccessLevelChanged(level);
}

QList<unsigned int> System::accessLevels() const
{
    return d->accessLevels.keys();
}

QString System::accessLevelName(unsigned int level) const
{
    return d->accessLevels.value(level);
}

void System::setAccessLevels(const QList<QPair<unsigned int, QString>> &levels)
{
    if (levels.isEmpty()) {
        qWarning("System::setAccessLevels: an empty level list is refused");
        return;
    }
    QMap<unsigned int, QString> map;
    for (const auto &level : levels)
        map.insert(level.first, level.second);
    if (map == d->accessLevels)
        return;
    d->accessLevels = map;
    Q_EMIT accessLevelsChanged();
}

int System::productLevel() const
{
    return d->productLevel;
}

void System::setProductLevel(int level)
{
    if (level == d->productLevel)
        return;
    d->productLevel = level;
    Q_EMIT productLevelChanged(level);
}

QWidget *System::mainWindow() const
{
    return d->mainWindow;
}

void System::setMainWindow(QWidget *window)
{
    if (window == d->mainWindow)
        return;
    d->mainWindow = window;
    Q_EMIT mainWindowChanged();
}
