// Thresholds in the window: found, changed, reset; what a change would change; and kept.
#include "Base/Units.h"
#include "Models/ExpertSettings.h"
#include "NetrondoApp/Support/Window.h"
#include "Shell/ExpertDialog.h"

#include <QDialogButtonBox>
#include <QDoubleSpinBox>
#include <QFile>
#include <QLineEdit>
#include <QPushButton>
#include <QTableWidget>
#include <QToolButton>

namespace netrondo::test {
namespace {

class ExpertDialogTest : public WindowTest {
protected:
    void SetUp() override
    {
        QFile::remove(ExpertSettings::defaultPath());
        WindowTest::SetUp();
    }
    void TearDown() override { QFile::remove(ExpertSettings::defaultPath()); }

    ExpertDialog& dialog()
    {
        part<QToolButton>("findingsSettings").click();
        return part<ExpertDialog>();
    }
    QDoubleSpinBox& field(const char* key) { return part<QDoubleSpinBox>(key); }
    ExpertSettings& settings() const { return part<ExpertSettings>(); }
    void openTrouble() { open(QStringLiteral(NETRONDO_SOURCE_DIR "/Samples/trouble.pcapng")); }
    const CaptureExpertSummary& summary() const { return session().talks()->result()->expertSummary; }
};

TEST_F(ExpertDialogTest, HasAFieldForEveryThresholdWithItsRangeUnitAndUsualValue)
{
    auto& shown = dialog();
    auto& table = part<QTableWidget>("thresholds");
    ASSERT_EQ(table.rowCount(), static_cast<int>(expertThresholds().size()));
    for (const auto& threshold : expertThresholds()) {
        auto& one = field(std::string(threshold.key).c_str());
        EXPECT_EQ(one.minimum(), threshold.least) << threshold.key;
        EXPECT_EQ(one.maximum(), threshold.most) << threshold.key;
        EXPECT_EQ(one.value(), threshold.normal) << threshold.key;
        EXPECT_TRUE(one.suffix().endsWith(asQt(threshold.unit))) << threshold.key;
        EXPECT_FALSE(one.accessibleName().isEmpty());
    }
    EXPECT_EQ(shown.thresholds(), ExpertPreferences());
    EXPECT_EQ(shown.verdict(), QStringLiteral("These thresholds hold."));
}

TEST_F(ExpertDialogTest, FindsThresholdsByWhatTheyDecideTheirKeyAndTheirFinding)
{
    dialog();
    auto& table = part<QTableWidget>("thresholds");
    const auto found = [&](const char* text) {
        part<QLineEdit>("thresholdSearch").setText(QString::fromLatin1(text));
        int rows = 0;
        for (int row = 0; row < table.rowCount(); ++row)
            rows += !table.isRowHidden(row);
        return rows;
    };
    EXPECT_EQ(found("scannedPorts"), 1);
    EXPECT_EQ(found("keep-alives"), 1);
    EXPECT_GE(found("tcp.slowhandshake"), 3);
    EXPECT_EQ(found("no such thing"), 0);
    EXPECT_EQ(found(""), static_cast<int>(expertThresholds().size()));
}

TEST_F(ExpertDialogTest, SaysWhatAChangeWouldDoBeforeItIsApplied)
{
    openTrouble();
    const auto before = summary().findings.size();
    auto& shown = dialog();
    field("handshakeMilliseconds").setValue(1);
    ASSERT_TRUE(eventually([&] {
        return shown.verdict().startsWith(QStringLiteral("In this capture the change would"));
    })) << shown.verdict().toStdString();
    const auto verdict = shown.verdict();
    EXPECT_EQ(summary().findings.size(), before) << "nothing is applied yet";
    EXPECT_EQ(settings().thresholds(), ExpertPreferences());
    const auto old = session().talks()->result();
    shown.findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Apply)->click();
    ASSERT_TRUE(eventually([&] { return !session().isReading() && session().talks()->result() != old; }));
    const auto changes = difference(old->expertSummary, summary());
    EXPECT_GT(changes.added + changes.changed, 0u);
    const auto said = [&](std::size_t count, const char* word) {
        const auto part =
            QStringLiteral("%1 %2").arg(QString::fromLatin1(word), asQt(units::counted(count, "finding", "findings")));
        EXPECT_EQ(verdict.contains(part), count > 0) << verdict.toStdString() << ": " << part.toStdString();
    };
    said(changes.added, "add");
    said(changes.removed, "remove");
    said(changes.changed, "how bad");
    EXPECT_EQ(settings().thresholds().handshakeMilliseconds, 1);
    EXPECT_EQ(loadExpertPreferences(ExpertSettings::defaultPath().toStdString()).value().handshakeMilliseconds, 1);
}

TEST_F(ExpertDialogTest, SaysWhenAChangeChangesNothing)
{
    openTrouble();
    auto& shown = dialog();
    field("delayedAckStalls").setValue(9999);
    ASSERT_TRUE(eventually([&] { return shown.verdict().startsWith(QStringLiteral("In this capture")); }));
    EXPECT_EQ(shown.verdict(), QStringLiteral("In this capture the change would change no finding."));
}

TEST_F(ExpertDialogTest, TheSearchForWhatWouldChangeCanBeStopped)
{
    openTrouble();
    auto& shown = dialog();
    field("handshakeMilliseconds").setValue(1);
    EXPECT_TRUE(shown.verdict().startsWith(QStringLiteral("Judging")));
    session().tryThresholds(shown.thresholds());
    EXPECT_TRUE(session().isTrying());
    part<QPushButton>("thresholdStop").click();
    EXPECT_FALSE(session().isTrying());
    EXPECT_TRUE(shown.verdict().startsWith(QStringLiteral("Stopped")));
}

TEST_F(ExpertDialogTest, BringsTheUsualValuesBackOneByOneOrAll)
{
    auto& shown = dialog();
    field("scannedPorts").setValue(33);
    field("scannedHosts").setValue(44);
    EXPECT_TRUE(field("scannedPorts").font().bold()) << "what is not as usual stands out";
    auto& table = part<QTableWidget>("thresholds");
    for (int row = 0; row < table.rowCount(); ++row)
        if (table.cellWidget(row, 2) == &field("scannedPorts"))
            qobject_cast<QToolButton*>(table.cellWidget(row, 5))->click();
    EXPECT_EQ(field("scannedPorts").value(), 20);
    EXPECT_EQ(shown.thresholds().scannedHosts, 44);
    part<QPushButton>("thresholdResetAll").click();
    EXPECT_EQ(shown.thresholds(), ExpertPreferences());
}

TEST_F(ExpertDialogTest, WhatIsNotAppliedIsForgottenAndWhatIsAppliedIsThereTheNextTime)
{
    dialog();
    field("scannedPorts").setValue(33);
    part<ExpertDialog>().reject();
    EXPECT_EQ(dialog().thresholds(), ExpertPreferences());
    field("scannedPorts").setValue(34);
    part<ExpertDialog>().findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Ok)->click();
    reopen();
    EXPECT_EQ(settings().thresholds().scannedPorts, 34);
    EXPECT_EQ(dialog().thresholds().scannedPorts, 34);
}

TEST_F(ExpertDialogTest, ListsWhatIsMutedAndTakesItAway)
{
    openTrouble();
    settings().mute({Finding::tcpRst, {}, {}, "known"});
    settings().mute({Finding::none, *Address::parse("10.0.0.1"), {}, "a test machine"});
    dialog().showMutes();
    auto& table = part<QTableWidget>("mutes");
    ASSERT_EQ(table.rowCount(), 2);
    EXPECT_EQ(table.item(0, 0)->text(), QStringLiteral("tcp.rst everywhere"));
    EXPECT_EQ(table.item(0, 1)->text(), QStringLiteral("known"));
    EXPECT_EQ(table.item(1, 0)->text(), QStringLiteral("everything about 10.0.0.1"));
    table.setCurrentCell(0, 0);
    part<QPushButton>("unmute").click();
    ASSERT_EQ(table.rowCount(), 1);
    EXPECT_EQ(settings().mutes().mutes().front().reason, "a test machine");
    settings().undo();
    EXPECT_EQ(table.rowCount(), 2);
}

} // namespace
} // namespace netrondo::test
