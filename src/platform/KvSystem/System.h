#pragma once

#include <KvSystem/kvsystem_export.h>

#include <QtCore/QList>
#include <QtCore/QObject>
#include <QtCore/QPair>
#include <QtCore/QString>

class QWidget;
class SystemPrivate;

/*!
 * What the suite knows about its session: the access level of the logged-in user, the
 * access levels that exist with their display names, the product level of the installed
 * edition, and the main window that dialogs use as their parent.
 *
 * One instance per process, created on first use and owned by the library. Out of the box
 * the levels are 0 to 7 with German names, the current level is 7 (all rights), the
 * product level is 5 and there is no main window. Hosts and tests set the values.
 * Higher levels mean more rights. Use it from the GUI thread only.
 */
class KVSYSTEM_EXPORT System : public QObject
{
    Q_OBJECT

public:
    /*! The process-wide instance; never null. */
    static System *instance();

    /*! The access level of the logged-in user. */
    virtual unsigned int currentAccessLevel() const;
    void setCurrentAccessLevel(unsigned int level);

    /*! The access levels in ascending order; never empty. */
    QList<unsigned int> accessLevels() const;
    /*! The display name of \a level; empty for a level not in the list. */
    QString accessLevelName(unsigned int level) const;
    /*!
     * Replaces the access levels by \a levels (number and display name; the order does not
     * matter, a repeated number keeps its last name). An empty list is refused. The current
     * level is kept even when the new list does not contain it.
     */
    void setAccessLevels(const QList<QPair<unsigned int, QString>> &levels);

    /*! The product level of the installed edition; higher editions unlock more. */
    int productLevel() const;
    void setProductLevel(int level);

    /*! The suite's main window, the parent of its dialogs; null when there is none. */
    QWidget *mainWindow() const;
    /*!
     * Remembers \a window without taking ownership; mainWindow() reads null again once the
     * window is destroyed.
     */
    void setMainWindow(QWidget *window);

Q_SIGNALS:
    /*! Emitted by setCurrentAccessLevel() when the level actually changes. */
    void currentAccessLevelChanged(unsigned int level);
    /*! Emitted by setAccessLevels() when the numbers or names differ from before; once per call. */
    void accessLevelsChanged();
    /*! Emitted by setProductLevel() when the level actually changes. */
    void productLevelChanged(int level);
    /*! Emitted by setMainWindow() when a different window is set; not when the window is destroyed. */
    void mainWindowChanged();

private:
    System();
    ~System() override;
    Q_DISABLE_COPY_MOVE(System)

    SystemPrivate *const d;
};
