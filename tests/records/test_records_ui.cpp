// The stored-position editors' windows over their logic: controls found by name drive it and
// show what it holds. With MIVEL_SCREENSHOT_DIR set, the windows are also saved as pictures.

#include "support/ScriptedPrompt.h"

#include "records/StoredPositions.h"
#include "records/ui/StoreEditorView.h"

#include <QHeaderView>
#include <QLineEdit>
#include <QPushButton>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QTest>

using namespace mivel;
using namespace mivel::records;

namespace {

template <class T> T* child(const QObject& parent, const char* name) {
    T* found = parent.findChild<T*>(QLatin1String(name));
    if (!found)
        qFatal("no control %s", name);
    return found;
}

void saveScreenshot(QWidget& window, const char* name) {
    const QByteArray dir = qgetenv("MIVEL_SCREENSHOT_DIR");
    if (dir.isEmpty())
        return;
    QTest::qWait(50); // one paint, for the picture only
    QVERIFY(
        window.grab().save(QString::fromLocal8Bit(dir) + QLatin1Char('/') + QLatin1String(name)));
}

} // namespace

class RecordsUiTest : public QObject {
    Q_OBJECT
private slots:
    void focusEditorThroughItsControls() {
        QTemporaryDir dir;
        StoredPositions positions(dir.path());
        const StoredPosition kept[] = {{QStringLiteral("Moon, prime focus"), 12500, 45.6f},
                                       {QStringLiteral("Planets, 2x Barlow"), 18230, 44.1f},
                                       {QStringLiteral("Deep sky, reducer"), 9875, 39.8f}};
        for (int r = 0; r < 3; ++r)
            QVERIFY(!positions.focus().save(r + 1, kept[r], true));
        test::ScriptedPrompt prompt;
        StoreEditorView view(positions.focus(), prompt, [] {
            return CurrentPosition{14020, 38.5f};
        });
        view.show();
        auto* grid = child<QTableWidget>(view, "MSFlexGrid1");
        QCOMPARE(grid->rowCount(), 3);
        QCOMPARE(grid->horizontalHeaderItem(3)->text(), QStringLiteral("Temperature"));
        QCOMPARE(grid->item(1, 2)->text(), QStringLiteral("18230"));
        QCOMPARE(grid->item(2, 3)->text(), QStringLiteral("39.8"));

        // A click on a row fills the boxes; typing marks the record changed; Update saves it.
        QTest::mouseClick(grid->viewport(), Qt::LeftButton, {},
                          grid->visualRect(grid->model()->index(1, 1)).center());
        auto* description = child<QLineEdit>(view, "txtDescription");
        QCOMPARE(description->text(), QStringLiteral("Planets, 2x Barlow"));
        QCOMPARE(child<QLineEdit>(view, "txtTemperature")->text(), QStringLiteral("44.1"));
        description->setFocus();
        description->end(false);
        QTest::keyClicks(description, QStringLiteral(" and ADC"));
        QVERIFY(view.logic().changed());
        child<QPushButton>(view, "cmdUpdate")->click();
        QCOMPARE(prompt.texts(), QStringList{"Save changes?"});
        QCOMPARE(positions.focus().record(2)->description,
                 QStringLiteral("Planets, 2x Barlow and ADC"));
        QCOMPARE(grid->item(1, 1)->text(), QStringLiteral("Planets, 2x Barlow and ADC"));

        // Add and Current: a blank row, then the current position and temperature in the boxes.
        child<QPushButton>(view, "cmdAdd")->click();
        QCOMPARE(grid->rowCount(), 4);
        child<QPushButton>(view, "cmdCurrent")->click();
        QCOMPARE(child<QLineEdit>(view, "txtPosition")->text(), QStringLiteral("14020"));
        QTest::keyClicks(description, QStringLiteral("Comet, tonight"));
        saveScreenshot(view, "stored-focus-positions.png");

        // Closing the window saves the new record first.
        prompt.shown.clear();
        view.close();
        QCOMPARE(prompt.texts(), QStringList{"Save new record?"});
        QCOMPARE(positions.focus().count(), 4);
        QCOMPARE(positions.focus().record(4)->temperature, 38.5f);
    }

    void rotatorEditorHasNoTemperature() {
        QTemporaryDir dir;
        StoredPositions positions(dir.path());
        QVERIFY(!positions.rotator().save(1, {QStringLiteral("North up"), 0, 0}, true));
        QVERIFY(!positions.rotator().save(2, {QStringLiteral("Slit along RA"), 18000, 0}, true));
        test::ScriptedPrompt prompt;
        StoreEditorView view(positions.rotator(), prompt, [] { return CurrentPosition{9000, 0}; });
        view.show();
        QVERIFY(!view.findChild<QLineEdit*>(QStringLiteral("txtTemperature")));
        QCOMPARE(child<QTableWidget>(view, "MSFlexGrid1")->columnCount(), 3);
        child<QPushButton>(view, "cmdDelete")->click();
        QCOMPARE(prompt.texts(), QStringList{"There is no current record.  Can not delete."});
        saveScreenshot(view, "stored-rotator-positions.png");
        child<QPushButton>(view, "cmdExit")->click();
        QVERIFY(!view.isVisible());
    }
};

QTEST_MAIN(RecordsUiTest)
#include "test_records_ui.moc"
