#include <KvSystem/System.h>

#include <QtTest/QSignalSpy>
#include <QtTest/QTest>
#include <QtWidgets/QWidget>

using Levels = QList<QPair<unsigned int, QString>>;

class SystemTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanup();

    void defaults();
    void defaultLevelNames_data();
    void defaultLevelNames();
    void setCurrentAccessLevel_data();
    void setCurrentAccessLevel();
    void setAccessLevels_data();
    void setAccessLevels();
    void emptyAccessLevelsRefused();
    void productLevel();
    void mainWindow();

private:
    Levels m_defaultLevels;
};

void SystemTest::initTestCase()
{
    const System *system = System::instance();
    for (unsigned int level : system->accessLevels())
        m_defaultLevels.append({level, system->accessLevelName(level)});
}

void SystemTest::cleanup()
{
    System *system = System::instance();
    system->setAccessLevels(m_defaultLevels);
    system->setCurrentAccessLevel(7);
    system->setProductLevel(5);
    system->setMainWindow(nullptr);
}

void SystemTest::defaults()
{
    const System *system = System::instance();
    QCOMPARE(system->accessLevels(), (QList<unsigned int>{0, 1, 2, 3, 4, 5, 6, 7}));
    QCOMPARE(system->currentAccessLevel(), 7u);
    QCOMPARE(system->productLevel(), 5);
    QCOMPARE(system->mainWindow(), nullptr);
    QCOMPARE(System::instance(), system);
}

void SystemTest::defaultLevelNames_data()
{
    QTest::addColumn<unsigned int>("level");
    QTest::addColumn<QString>("name");

    QTest::newRow("0") << 0u << "Gast";
    QTest::newRow("1") << 1u << "Bediener";
    QTest::newRow("2") << 2u << "Instandhalter";
    QTest::newRow("3") << 3u << "Inbetriebnehmer";
    QTest::newRow("4") << 4u << "Applikateur";
    QTest::newRow("5") << 5u << "Experte";
    QTest::newRow("6") << 6u << "Service";
    QTest::newRow("7") << 7u << "Entwickler";
    QTest::newRow("unknown") << 8u << QString();
}

void SystemTest::defaultLevelNames()
{
    QFETCH(unsigned int, level);
    QFETCH(QString, name);
    QCOMPARE(System::instance()->accessLevelName(level), name);
}

void SystemTest::setCurrentAccessLevel_data()
{
    QTest::addColumn<unsigned int>("level");
    QTest::addColumn<int>("signalCount");

    QTest::newRow("unchanged") << 7u << 0;
    QTest::newRow("lower") << 2u << 1;
    QTest::newRow("zero") << 0u << 1;
    // A level outside the list is still a level: hosts may log in users above the table.
    QTest::newRow("unlisted") << 12u << 1;
}

void SystemTest::setCurrentAccessLevel()
{
    QFETCH(unsigned int, level);
    QFETCH(int, signalCount);

    System *system = System::instance();
    QSignalSpy spy(system, &System::currentAccessLevelChanged);
    system->setCurrentAccessLevel(level);
    QCOMPARE(system->currentAccessLevel(), level);
    QCOMPARE(spy.count(), signalCount);
    if (signalCount)
        QCOMPARE(spy.first().first().toUInt(), level);
    system->setCurrentAccessLevel(level);
    QCOMPARE(spy.count(), signalCount);
}

void SystemTest::setAccessLevels_data()
{
    QTest::addColumn<Levels>("levels");
    QTest::addColumn<QList<unsigned int>>("expectedLevels");
    QTest::addColumn<QString>("nameOfHighest");
    QTest::addColumn<int>("signalCount");

    QTest::newRow("unsorted") << Levels{{2, "Zwei"}, {0, "Null"}, {1, "Eins"}}
                              << QList<unsigned int>{0, 1, 2} << "Zwei" << 1;
    QTest::newRow("repeated-last-name-wins") << Levels{{3, "Alt"}, {3, "Neu"}}
                                             << QList<unsigned int>{3} << "Neu" << 1;
    QTest::newRow("high-values") << Levels{{0xFFFFFFFFu, "Alle"}, {0, "Keine"}}
                                 << QList<unsigned int>{0, 0xFFFFFFFFu} << "Alle" << 1;
}

void SystemTest::setAccessLevels()
{
    QFETCH(Levels, levels);
    QFETCH(QList<unsigned int>, expectedLevels);
    QFETCH(QString, nameOfHighest);
    QFETCH(int, signalCount);

    System *system = System::instance();
    QSignalSpy spy(system, &System::accessLevelsChanged);
    QSignalSpy currentSpy(system, &System::currentAccessLevelChanged);
    system->setAccessLevels(levels);
    QCOMPARE(system->accessLevels(), expectedLevels);
    QCOMPARE(system->accessLevelName(expectedLevels.last()), nameOfHighest);
    QCOMPARE(spy.count(), signalCount);
    QCOMPARE(system->currentAccessLevel(), 7u);
    QCOMPARE(currentSpy.count(), 0);

    system->setAccessLevels(levels);
    QCOMPARE(spy.count(), signalCount);
}

void SystemTest::emptyAccessLevelsRefused()
{
    System *system = System::instance();
    QSignalSpy spy(system, &System::accessLevelsChanged);
    QTest::ignoreMessage(QtWarningMsg, "System::setAccessLevels: an empty level list is refused");
    system->setAccessLevels({});
    QCOMPARE(system->accessLevels().size(), 8);
    QCOMPARE(spy.count(), 0);
}

void SystemTest::productLevel()
{
    System *system = System::instance();
    QSignalSpy spy(system, &System::productLevelChanged);
    system->setProductLevel(5);
    system->setProductLevel(4);
    system->setProductLevel(4);
    QCOMPARE(system->productLevel(), 4);
    QCOMPARE(spy.count(), 1);
}

void SystemTest::mainWindow()
{
    System *system = System::instance();
    QSignalSpy spy(system, &System::mainWindowChanged);
    auto *window = new QWidget;
    system->setMainWindow(window);
    system->setMainWindow(window);
    QCOMPARE(system->mainWindow(), window);
    QCOMPARE(spy.count(), 1);

    // The system does not own the window and must not dangle after it is gone.
    delete window;
    QCOMPARE(system->mainWindow(), nullptr);
    QCOMPARE(spy.count(), 1);
    system->setMainWindow(nullptr);
    QCOMPARE(spy.count(), 1);
}

QTEST_MAIN(SystemTest)
#include "tst_system.moc"
