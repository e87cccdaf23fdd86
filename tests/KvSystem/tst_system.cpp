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
    QStringList levels;
    for (unsigned int level : system->accessLevels())
        levels << QString::number(level) + QLatin1Char('=') + system->accessLevelName(level);
    QCOMPARE(levels, QStringList({ "0=Gast", "1=Bediener", "2=Instandhalter", "3=Inbetriebnehmer", "4=Applikateur",
                                   "5=Experte", "6=Service", "7=Entwickler" }));
    QCOMPARE(system->currentAccessLevel(), 7u);
    QCOMPARE(system->productLevel(), 5);

    QSignalSpy current(system, &System::currentAccessLevelChanged);
    QSignalSpy table(system, &System::accessLevelsChanged);
    QSignalSpy product(system, &System::productLevelChanged);
    QSignalSpy window(system, &System::mainWindowChanged);
    const auto counts = [&] { return QList<int>({ int(current.count()), int(table.count()), int(product.count()), int(window.count()) }); };
    system->setCurrentAccessLevel(7);
    system->setProductLevel(5);
    QTest::ignoreMessage(QtWarningMsg, "System::setAccessLevels: an empty level list is refused");
    system->setAccessLevels({});
    QCOMPARE(counts(), QList<int>({ 0, 0, 0, 0 }));

    // A level outside the table is still a level: hosts may log in users above it.
    system->setCurrentAccessLevel(12);
    system->setCurrentAccessLevel(12);
    system->setProductLevel(4);
    system->setProductLevel(4);
    QCOMPARE(system->currentAccessLevel(), 12u);
    QCOMPARE(system->productLevel(), 4);
    // Sorted, the last name of a repeated level wins; the user's level stays.
    const QList<QPair<unsigned int, QString>> newLevels = { { 0xFFFFFFFFu, "Alle" }, { 3, "Alt" }, { 3, "Neu" } };
    system->setAccessLevels(newLevels);
    system->setAccessLevels(newLevels);
    QCOMPARE(system->accessLevels(), QList<unsigned int>({ 3, 0xFFFFFFFFu }));
    QCOMPARE(system->accessLevelName(3), QStringLiteral("Neu"));
    QCOMPARE(system->accessLevelName(7), QString());
    QCOMPARE(system->currentAccessLevel(), 12u);
    QCOMPARE(counts(), QList<int>({ 1, 1, 1, 0 }));
    QCOMPARE(current.first().first().toUInt(), 12u);

    // The system does not own the main window and does not dangle after it is gone.
    auto *mainWindow = new QWidget;
    system->setMainWindow(mainWindow);
    system->setMainWindow(mainWindow);
    QCOMPARE(system->mainWindow(), mainWindow);
    delete mainWindow;
    QCOMPARE(system->mainWindow(), nullptr);
    system->setMainWindow(nullptr);
    QCOMPARE(counts(), QList<int>({ 1, 1, 1, 1 }));
}

QTEST_MAIN(SystemTest)
#include "tst_system.moc"
