#include <KvMultilingual/LanguageManager.h>

#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

using Languages = QList<QPair<int, QString>>;

class LanguageManagerTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void setLanguages_data();
    void setLanguages();
};

void LanguageManagerTest::setLanguages_data()
{
    QTest::addColumn<Languages>("languages");
    QTest::addColumn<int>("language"); // then made the current and the fallback language
    QTest::addColumn<QString>("result"); // the list, current and fallback language, signal counts
    // Before each row: languages 1, 2, 3, current language 2, fallback language 1.
    const Languages german = { { 1, "Deutsch" }, { 2, "Englisch" }, { 3, "Französisch" } };
    QTest::newRow("identical-list") << german << 2 << "1=Deutsch 2=Englisch 3=Französisch | 2 2 | 0 0 1";
    QTest::newRow("empty-refused") << Languages() << 3 << "1=Deutsch 2=Englisch 3=Französisch | 3 3 | 0 1 1";
    QTest::newRow("renamed-only") << Languages { { 1, "German" }, { 2, "English" }, { 3, "French" } } << 1
                                  << "1=German 2=English 3=French | 1 1 | 1 1 0";
    QTest::newRow("unsorted-added-unlisted-ignored") << Languages { { 4, "It" }, { 2, "En" }, { 1, "De" } } << 9
                                                     << "1=De 2=En 4=It | 2 1 | 1 0 0";
    QTest::newRow("current-removed") << Languages { { 3, "Fr" }, { 1, "De" } } << -1 << "1=De 3=Fr | 1 1 | 1 1 0";
    QTest::newRow("both-removed") << Languages { { 5, "Es" }, { 7, "Pl" } } << 5 << "5=Es 7=Pl | 5 5 | 1 1 1";
    QTest::newRow("repeated-number-last-name-wins") << Languages { { 2, "A" }, { 2, "B" } } << 2 << "2=B | 2 2 | 1 0 1";
}

void LanguageManagerTest::setLanguages()
{
    QFETCH(Languages, languages);
    QFETCH(int, language);
    QFETCH(QString, result);
    LanguageManager *manager = LanguageManager::instance();
    manager->setLanguages({ { 1, "Deutsch" }, { 2, "Englisch" }, { 3, "Französisch" } });
    manager->setFallbackLanguage(1);
    manager->setCurrentLanguage(2);
    QSignalSpy listSpy(manager, &LanguageManager::languagesChanged);
    QSignalSpy currentSpy(manager, &LanguageManager::currentLanguageChanged);
    QSignalSpy fallbackSpy(manager, &LanguageManager::fallbackLanguageChanged);
    if (languages.isEmpty())
        QTest::ignoreMessage(QtWarningMsg, "LanguageManager::setLanguages: an empty language list is refused");
    manager->setLanguages(languages);
    for (int i = 0; i < 2; ++i) {
        manager->setCurrentLanguage(language);
        manager->setFallbackLanguage(language);
    }
    QStringList found;
    for (int listed : manager->languageList())
        found << QStringLiteral("%1=%2").arg(listed).arg(manager->languageName(listed));
    found << QStringLiteral("| %1 %2 |").arg(manager->currentLanguage()).arg(manager->fallbackLanguage());
    found << QStringLiteral("%1 %2 %3").arg(listSpy.count()).arg(currentSpy.count()).arg(fallbackSpy.count());
    QCOMPARE(found.join(QLatin1Char(' ')), result);
    QCOMPARE(manager->languageName(6), QString());
    if (currentSpy.count())
        QCOMPARE(currentSpy.last().first().toInt(), manager->currentLanguage());
}

QTEST_GUILESS_MAIN(LanguageManagerTest)
#include "tst_languagemanager.moc"
