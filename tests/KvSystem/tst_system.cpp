#include <KvSystem/System.h>

#include <QtTest/QSignalSpy>
#include <QtTest/QTest>
#include <QtWidgets/QWidget>

class SystemTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void settersEmitOnChangeOnly();
};

void SystemTest::settersEmitOnChangeOnly()
{
    System *system = System::instance();
    const auto state = [system] {
        QStringList levels;
        for (unsigned int level : system->accessLevels())
            levels << QString::number(level) + QLatin1Char('=') + system->accessLevelName(level);
        return levels.join(' ') + QStringLiteral(" | %1 %2").arg(system->currentAccessLevel()).arg(system->productLevel());
    };
    QCOMPARE(state(), QStringLiteral("0=Gast 1=Bediener 2=Instandhalter 3=Inbetriebnehmer 4=Applikateur 5=Experte "
                                     "6=Service 7=Entwickler | 7 5"));
    QSignalSpy current(system, &System::currentAccessLevelChanged);
    QSignalSpy table(system, &System::accessLevelsChanged);
    QSignalSpy product(system, &System::productLevelChanged);
    QSignalSpy window(system, &System::mainWindowChanged);
    QTest::ignoreMessage(QtWarningMsg, "System::setAccessLevels: an empty level list is refused");
    system->setAccessLevels({});
    // Sorted, the last name of a repeated level wins; the user's level is not the table's. A
    // level outside the table is still a level: hosts may log in users above it.
    for (int i = 0; i < 2; ++i) {
        system->setCurrentAccessLevel(12);
        system->setProductLevel(4);
        system->setAccessLevels({ { 0xFFFFFFFFu, "Alle" }, { 3, "Alt" }, { 3, "Neu" } });
    }
    QCOMPARE(state(), QStringLiteral("3=Neu 4294967295=Alle | 12 4"));
    QCOMPARE(current.first().first().toUInt(), 12u);

    // The system does not own the main window and does not dangle after it is gone.
    auto *mainWindow = new QWidget;
    system->setMainWindow(mainWindow);
    system->setMainWindow(mainWindow);
    QCOMPARE(system->mainWindow(), mainWindow);
    delete mainWindow;
    QCOMPARE(system->mainWindow(), nullptr);
    system->setMainWindow(nullptr);
    QCOMPARE(QList<qsizetype>({ current.count(), table.count(), product.count(), window.count() }), QList<qsizetype>({ 1, 1, 1, 1 }));
}

QTEST_MAIN(SystemTest)
#include "tst_system.moc"
