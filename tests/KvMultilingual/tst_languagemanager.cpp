#include <KvMultilingual/LanguageManager.h>

#include <QtCore/QTimer>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>
#include <QtWidgets/QApplication>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QPushButton>

using Languages = QList<QPair<int, QString>>;

class LanguageManagerTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void setLanguages_data();
    void setLanguages();
    void askForMonolingualLanguage();
};

void LanguageManagerTest::setLanguages_data()
{
    QTest::addColumn<Languages>("languages");
    QTest::addColumn<int>("current"); // set after the list
    QTest::addColumn<QString>("result"); // the list, current and fallback language, signal counts
    // Before each row: languages 1, 2, 3, current language 2, fallback language 1.
    const Languages german = { { 1, "Deutsch" }, { 2, "Englisch" }, { 3, "Französisch" } };
    QTest::newRow("identical-list") << german << 2 << "1=Deutsch 2=Englisch 3=Französisch | 2 1 | 0 0 0";
    QTest::newRow("empty-refused") << Languages() << 3 << "1=Deutsch 2=Englisch 3=Französisch | 3 1 | 0 1 0";
    QTest::newRow("renamed-only") << Languages { { 1, "German" }, { 2, "English" }, { 3, "French" } } << 2
                                  << "1=German 2=English 3=French | 2 1 | 1 0 0";
    QTest::newRow("unsorted-added-unlisted-current-ignored") << Languages { { 4, "It" }, { 2, "En" }, { 1, "De" } } << 9
                                                             << "1=De 2=En 4=It | 2 1 | 1 0 0";
    QTest::newRow("current-removed") << Languages { { 3, "Fr" }, { 1, "De" } } << -1 << "1=De 3=Fr | 1 1 | 1 1 0";
    QTest::newRow("both-removed") << Languages { { 5, "Es" }, { 7, "Pl" } } << 5 << "5=Es 7=Pl | 5 5 | 1 1 1";
    QTest::newRow("repeated-number-last-name-wins") << Languages { { 2, "A" }, { 2, "B" } } << 2 << "2=B | 2 2 | 1 0 1";
}

void LanguageManagerTest::setLanguages()
{
    QFETCH(Languages, languages);
    QFETCH(int, current);
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
    manager->setCurrentLanguage(current);
    manager->setCurrentLanguage(current);
    QStringList found;
    for (int language : manager->languageList())
        found << QStringLiteral("%1=%2").arg(language).arg(manager->languageName(language));
    found << QStringLiteral("| %1 %2 |").arg(manager->currentLanguage()).arg(manager->fallbackLanguage());
    found << QStringLiteral("%1 %2 %3").arg(listSpy.count()).arg(currentSpy.count()).arg(fallbackSpy.count());
    QCOMPARE(found.join(QLatin1Char(' ')), result);
    QCOMPARE(manager->languageName(6), QString());
    if (currentSpy.count())
        QCOMPARE(currentSpy.last().first().toInt(), manager->currentLanguage());
    // The fallback language follows the same rules as the current one.
    const int fallback = manager->fallbackLanguage();
    const qsizetype fallbackSignals = fallbackSpy.count();
    manager->setFallbackLanguage(current);
    manager->setFallbackLanguage(current);
    QCOMPARE(manager->fallbackLanguage(), manager->languageList().contains(current) ? current : fallback);
    QCOMPARE(fallbackSpy.count(), fallbackSignals + (manager->fallbackLanguage() != fallback ? 1 : 0));
}

// The dialog offers the configured languages, preselects the current one and returns the
// choice, or all bits set when cancelled.
void LanguageManagerTest::askForMonolingualLanguage()
{
    LanguageManager *manager = LanguageManager::instance();
    manager->setLanguages({ { 1, "Deutsch" }, { 2, "Englisch" }, { 3, "Französisch" } });
    manager->setCurrentLanguage(2);
    auto parent = std::make_unique<QWidget>();
    for (const char *button : { "okButton", "cancelButton" }) {
        QStringList offered;
        QTimer::singleShot(0, this, [&] {
            QWidget *dialog = QApplication::activeModalWidget();
            if (dialog && dialog->parentWidget() != parent.get())
                offered << QStringLiteral("wrong parent");
            auto *combo = dialog ? dialog->findChild<QComboBox *>(QStringLiteral("languageComboBox")) : nullptr;
            for (int row = 0; combo && row < combo->count(); ++row)
                offered << combo->itemText(row) + (row == combo->currentIndex() ? "*" : "");
            if (combo)
                combo->setCurrentIndex(2);
            if (auto *push = dialog ? dialog->findChild<QPushButton *>(QLatin1String(button)) : nullptr)
                push->click();
            else if (dialog)
                dialog->close();
        });
        const unsigned int chosen = manager->askForMonolingualLanguage(parent.get());
        QCOMPARE(offered, QStringList({ "Deutsch", "Englisch*", "Französisch" }));
        QCOMPARE(chosen, button == QByteArrayView("okButton") ? 3u : LanguageManager::Cancelled);
        QCOMPARE(manager->currentLanguage(), 2);
    }
    parent.reset();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCOMPARE(QApplication::topLevelWidgets(), QWidgetList());
}

QTEST_MAIN(LanguageManagerTest)
#include "tst_languagemanager.moc"
