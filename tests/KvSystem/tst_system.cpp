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
    void setCurrentAccessLevel_data();
    void setCurrentAccessLevel();
    void setAccessLevels_data();
    void setAccessLevels();
    void productLevel();
    void mainWindow();

private:
    Levels m_defaultLevels;
};

// The built-in levels and their names, which hosts show to users.
void SystemTest::initTestCase()
{
    const System *system = System::instance();
    QStringList names;
    for (unsigned int level : system->accessLevels()) {
        m_defaultLevels.append({level, system->accessLevelName(level)});
        names << QString::number(level) + QLatin1Char('=') + system->accessLevelName(level);
    }
    QCOMPARE(names, (QStringList{"0=Gast", "1=Bediener", "2=Instandhalter", "3=Inbetriebnehmer", "4=Applikateur",
                                 "5=Experte", "6=Service", "7=Entwickler"}));
    QCOMPARE(system->accessLevelName(8), QString());
    QCOMPARE(system->currentAccessLevel(), 7u);
    QCOMPARE(system->productLevel(), 5);
}

void SystemTest::cleanup()
{
    System *system = System::instance();
    system->setAccessLevels(m_defaultLevels);
    system->setCurrentAccessLevel(7);
    system->setProductLevel(5);
    system->setMainWindow(nullptr);
}

void SystemTest::setCurrentAccessLevel_data()
{
    QTest::addColumn<unsigned int>("level");
    QTest::addColumn<int>("signalCount");

    QTest::newRow("unchanged") << 7u << 0;
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
    system->setCurrentAccessLevel(level);
    QCOMPARE(system->currentAccessLevel(), level);
    QCOMPARE(spy.count(), signalCount);
    if (signalCount)
        QCOMPARE(spy.first().first().toUInt(), level);
}

void SystemTest::setAccessLevels_data()
{
    QTest::addColumn<Levels>("levels");
    QTest::addColumn<QList<unsigned int>>("expectedLevels");
    QTest::addColumn<QString>("nameOfHighest");

    QTest::newRow("unsorted") << Levels{{2, "Zwei"}, {0, "Null"}, {1, "Eins"}} << QList<unsigned int>{0, 1, 2} << "Zwei";
    QTest::newRow("repeated-last-name-wins") << Levels{{3, "Alt"}, {3, "Neu"}} << QList<unsigned int>{3} << "Neu";
    QTest::newRow("high-values") << Levels{{0xFFFFFFFFu, "Alle"}, {0, "Keine"}} << QList<unsigned int>{0, 0xFFFFFFFFu} << "Alle";
    QTest::newRow("empty-refused") << Levels() << QList<unsigned int>{0, 1, 2, 3, 4, 5, 6, 7} << "Entwickler";
}

void SystemTest::setAccessLevels()
{
    QFETCH(Levels, levels);
    QFETCH(QList<unsigned int>, expectedLevels);
    QFETCH(QString, nameOfHighest);

    System *system = System::instance();
    QSignalSpy spy(system, &System::accessLevelsChanged);
    QSignalSpy currentSpy(system, &System::currentAccessLevelChanged);
    if (levels.isEmpty())
        QTest::ignoreMessage(QtWarningMsg, "System::setAccessLevels: an empty level list is refused");
    system->setAccessLevels(levels);
    QCOMPARE(system->accessLevels(), expectedLevels);
    QCOMPARE(system->accessLevelName(expectedLevels.last()), nameOfHighest);
    QCOMPARE(spy.count(), levels.isEmpty() ? 0 : 1);
    // The current level is the user's, not the table's: it stays.
    QCOMPARE(system->currentAccessLevel(), 7u);
    QCOMPARE(currentSpy.count(), 0);

    if (!levels.isEmpty()) {
        system->setAccessLevels(levels);
        QCOMPARE(spy.count(), 1);
    }
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
    system->setMainWindow(nullptr);
    QCOMPARE(spy.count(), 1);
}

QTEST_MAIN(SystemTest)
#include "tst_system.moc"
