#include "Shell/ExpertDialog.h"

#include "Base/Units.h"
#include "Models/ExpertSettings.h"
#include "Models/Text.h"
#include "Tasks/CaptureSession.h"

#include <QDialogButtonBox>
#include <QDoubleSpinBox>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QTabWidget>
#include <QTableWidget>
#include <QToolButton>
#include <QVBoxLayout>
#include <QWheelEvent>
#include <algorithm>

namespace netrondo {
namespace {

QString number(double value)
{
    return QLocale::c().toString(value, 'g', 10);
}

/// A number with its unit. The wheel scrolls the table unless the field has been entered.
class Field final : public QDoubleSpinBox {
public:
    explicit Field(const ExpertThreshold& threshold)
    {
        setDecimals(6); // of which those that are there are shown
        setRange(threshold.least, threshold.most);
        setSuffix(QStringLiteral(" ") + asQt(threshold.unit));
        setAlignment(Qt::AlignRight);
        setStepType(threshold.most > 1000 ? AdaptiveDecimalStepType : DefaultStepType);
        setKeyboardTracking(false);
        setFocusPolicy(Qt::StrongFocus);
        setFrame(false);
        setLocale(QLocale::c());
        setGroupSeparatorShown(false);
    }

protected:
    QString textFromValue(double value) const override { return number(value); }
    void wheelEvent(QWheelEvent* event) override
    {
        if (hasFocus())
            QDoubleSpinBox::wheelEvent(event);
        else
            event->ignore();
    }
};

QTableWidgetItem* cell(const QString& text)
{
    auto* const item = new QTableWidgetItem(text);
    item->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable);
    item->setToolTip(text);
    return item;
}

void prepare(QTableWidget& table, const QStringList& titles)
{
    table.setColumnCount(static_cast<int>(titles.size()));
    table.setHorizontalHeaderLabels(titles);
    table.verticalHeader()->hide();
    table.setShowGrid(false);
    table.setAlternatingRowColors(true);
    table.setTabKeyNavigation(false);
    table.setSelectionBehavior(QAbstractItemView::SelectRows);
    table.setSelectionMode(QAbstractItemView::SingleSelection);
    table.horizontalHeader()->setHighlightSections(false);
}

} // namespace

ExpertDialog::ExpertDialog(ExpertSettings& settings, CaptureSession& session, QWidget* parent)
    : QDialog(parent), settings_(settings), session_(session), tabs_(new QTabWidget)
{
    setObjectName(QStringLiteral("ExpertDialog"));
    setWindowTitle(tr("Settings of the findings"));
    tabs_->addTab(buildThresholds(), tr("&Thresholds"));
    tabs_->addTab(buildMutes(), tr("&Muted"));
    buttons_ = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Apply | QDialogButtonBox::Cancel);
    connect(buttons_, &QDialogButtonBox::accepted, this, [this] {
        apply();
        accept();
    });
    connect(buttons_, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(buttons_->button(QDialogButtonBox::Apply), &QAbstractButton::clicked, this, &ExpertDialog::apply);
    auto* const place =
        new QLabel(tr("Kept in %1, which “netrondo expert --preferences” reads as well.").arg(settings_.path()));
    place->setTextFormat(Qt::PlainText);
    place->setWordWrap(true);
    place->setTextInteractionFlags(Qt::TextSelectableByMouse);
    auto* const column = new QVBoxLayout(this);
    column->addWidget(tabs_, 1);
    column->addWidget(place);
    column->addWidget(buttons_);
    resize(fontMetrics().averageCharWidth() * 110, fontMetrics().height() * 36);

    pause_.setSingleShot(true);
    pause_.setInterval(250);
    connect(&pause_, &QTimer::timeout, this, &ExpertDialog::startTrial);
    connect(&settings_, &ExpertSettings::mutesChanged, this, &ExpertDialog::fillMutes);
    connect(&session_, &CaptureSession::ended, this, &ExpertDialog::changed);
    connect(&session_, &CaptureSession::followingChanged, this, &ExpertDialog::changed);
    connect(&session_, &CaptureSession::closed, this, &ExpertDialog::changed);
    connect(&session_, &CaptureSession::trialProgressed, this, [this](double share) {
        progress_->setRange(0, share > 0 ? 1000 : 0);
        progress_->setValue(static_cast<int>(share * 1000));
    });
    connect(&session_, &CaptureSession::tried, this, [this](const ExpertDifference& changes) {
        if (changes.added + changes.removed + changes.changed == 0)
            return say(tr("In this capture the change would change no finding."), false);
        const auto findings = [](std::size_t count) { return asQt(units::counted(count, "finding", "findings")); };
        QStringList parts;
        if (changes.added)
            parts << tr("add %1").arg(findings(changes.added));
        if (changes.removed)
            parts << tr("remove %1").arg(findings(changes.removed));
        if (changes.changed)
            parts << tr("change how bad %1 %2")
                         .arg(findings(changes.changed), changes.changed == 1 ? tr("is") : tr("are"));
        const auto last = parts.takeLast();
        say(tr("In this capture the change would %1.")
                .arg(parts.isEmpty() ? last : parts.join(QStringLiteral(", ")) + tr(" and ") + last),
            false);
    });
    connect(&session_, &CaptureSession::trialFailed, this,
            [this] { say(tr("The capture cannot be read any more: what the change would do is not known."), false); });
    connect(this, &QDialog::finished, &session_, &CaptureSession::stopTrial);
    setThresholds(settings_.thresholds());
    fillMutes();
}

QWidget* ExpertDialog::buildThresholds()
{
    auto* const search = new QLineEdit;
    search->setObjectName(QStringLiteral("thresholdSearch"));
    search->setPlaceholderText(tr("Type to find a threshold"));
    search->setAccessibleName(tr("Find a threshold"));
    search->setClearButtonEnabled(true);
    connect(search, &QLineEdit::textChanged, this, &ExpertDialog::narrow);

    table_ = new QTableWidget;
    table_->setObjectName(QStringLiteral("thresholds"));
    table_->setAccessibleName(tr("Thresholds"));
    prepare(*table_, {tr("What it decides"), tr("Finding"), tr("Value"), tr("Usual"), tr("Range"), QString()});
    const auto rows = expertThresholds();
    table_->setRowCount(static_cast<int>(rows.size()));
    for (int row = 0; row < static_cast<int>(rows.size()); ++row) {
        const auto& threshold = rows[static_cast<std::size_t>(row)];
        auto meaning = asQt(threshold.meaning);
        meaning[0] = meaning[0].toUpper();
        table_->setItem(row, 0, cell(meaning));
        table_->setItem(row, 1, cell(asQt(kindOf(threshold.finding).id)));
        table_->setItem(row, 3, cell(number(threshold.normal)));
        table_->setItem(row, 4, cell(QStringLiteral("%1–%2").arg(number(threshold.least), number(threshold.most))));
        auto* const field = new Field(threshold);
        field->setObjectName(asQt(threshold.key));
        field->setAccessibleName(tr("%1, usually %2 %3, from %4 to %5")
                                     .arg(meaning, number(threshold.normal), asQt(threshold.unit),
                                          number(threshold.least), number(threshold.most)));
        connect(field, &QDoubleSpinBox::valueChanged, this, &ExpertDialog::changed);
        table_->setCellWidget(row, 2, field);
        fields_.push_back(field);
        auto* const reset = new QToolButton;
        reset->setText(QStringLiteral("↺"));
        reset->setAutoRaise(true);
        reset->setToolTip(tr("Back to %1 %2").arg(number(threshold.normal), asQt(threshold.unit)));
        reset->setAccessibleName(tr("%1: back to the usual value").arg(meaning));
        connect(reset, &QAbstractButton::clicked, field,
                [field, normal = threshold.normal] { field->setValue(normal); });
        table_->setCellWidget(row, 5, reset);
        resets_.push_back(reset);
    }
    table_->resizeColumnsToContents();
    table_->horizontalHeader()->setSectionResizeMode(0, QHeaderView::Stretch);

    verdict_ = new QLabel;
    verdict_->setObjectName(QStringLiteral("thresholdVerdict"));
    verdict_->setWordWrap(true);
    verdict_->setTextFormat(Qt::PlainText);
    progress_ = new QProgressBar;
    progress_->setAccessibleName(tr("Judging the capture by these thresholds"));
    progress_->setMaximumWidth(160);
    stop_ = new QPushButton(tr("&Stop"));
    stop_->setObjectName(QStringLiteral("thresholdStop"));
    stop_->setAutoDefault(false);
    connect(stop_, &QAbstractButton::clicked, this, [this] {
        session_.stopTrial();
        say(tr("Stopped: what the change would do is not known."), false);
    });
    auto* const all = new QPushButton(tr("&Reset all"));
    all->setObjectName(QStringLiteral("thresholdResetAll"));
    all->setAutoDefault(false);
    connect(all, &QAbstractButton::clicked, this, [this] { setThresholds({}); });

    auto* const page = new QWidget;
    auto* const column = new QVBoxLayout(page);
    column->addWidget(search);
    column->addWidget(table_, 1);
    auto* const below = new QHBoxLayout;
    below->addWidget(verdict_, 1);
    below->addWidget(progress_);
    below->addWidget(stop_);
    below->addWidget(all);
    column->addLayout(below);
    return page;
}

QWidget* ExpertDialog::buildMutes()
{
    mutes_ = new QTableWidget;
    mutes_->setObjectName(QStringLiteral("mutes"));
    mutes_->setAccessibleName(tr("What is muted"));
    prepare(*mutes_, {tr("What is muted"), tr("Reason")});
    mutes_->horizontalHeader()->setStretchLastSection(true);
    unmute_ = new QPushButton(tr("&Unmute"));
    unmute_->setObjectName(QStringLiteral("unmute"));
    undo_ = new QPushButton(tr("Un&do"));
    redo_ = new QPushButton(tr("Re&do"));
    for (auto* const button : {unmute_, undo_, redo_})
        button->setAutoDefault(false);
    connect(unmute_, &QAbstractButton::clicked, this, [this] {
        if (const int row = mutes_->currentRow(); row >= 0)
            settings_.unmute(static_cast<std::size_t>(row));
    });
    connect(undo_, &QAbstractButton::clicked, &settings_, &ExpertSettings::undo);
    connect(redo_, &QAbstractButton::clicked, &settings_, &ExpertSettings::redo);
    auto* const page = new QWidget;
    auto* const column = new QVBoxLayout(page);
    auto* const note =
        new QLabel(tr("What is muted has no badge and is not counted. Findings are muted from their list; "
                      "changes here hold at once."));
    note->setWordWrap(true);
    column->addWidget(note);
    column->addWidget(mutes_, 1);
    auto* const row = new QHBoxLayout;
    row->addStretch();
    for (auto* const button : {unmute_, undo_, redo_})
        row->addWidget(button);
    column->addLayout(row);
    return page;
}

void ExpertDialog::fillMutes()
{
    const auto& mutes = settings_.mutes().mutes();
    const int current = mutes_->currentRow();
    mutes_->setRowCount(static_cast<int>(mutes.size()));
    for (int row = 0; row < static_cast<int>(mutes.size()); ++row) {
        const auto& mute = mutes[static_cast<std::size_t>(row)];
        mutes_->setItem(row, 0, cell(asQt(subjectOf(mute))));
        mutes_->setItem(row, 1, cell(asQt(mute.reason)));
    }
    mutes_->resizeColumnToContents(0);
    mutes_->setCurrentCell(std::min(std::max(current, 0), mutes_->rowCount() - 1), 0);
    unmute_->setEnabled(!mutes.empty());
    undo_->setEnabled(settings_.mutes().canUndo());
    redo_->setEnabled(settings_.mutes().canRedo());
    tabs_->setTabText(1, mutes.empty() ? tr("&Muted") : tr("&Muted (%1)").arg(mutes.size()));
}

void ExpertDialog::showMutes()
{
    tabs_->setCurrentIndex(1);
}

void ExpertDialog::narrow(const QString& text)
{
    for (int row = 0; row < table_->rowCount(); ++row) {
        const auto& threshold = expertThresholds()[static_cast<std::size_t>(row)];
        const auto all = QStringLiteral("%1 %2 %3 %4")
                             .arg(asQt(threshold.meaning), asQt(kindOf(threshold.finding).id), asQt(threshold.key),
                                  asQt(kindOf(threshold.finding).title));
        table_->setRowHidden(row, !all.contains(text.trimmed(), Qt::CaseInsensitive));
    }
}

ExpertPreferences ExpertDialog::thresholds() const
{
    ExpertPreferences wanted;
    for (std::size_t i = 0; i < fields_.size(); ++i)
        wanted.*expertThresholds()[i].value = fields_[i]->value();
    return wanted;
}

void ExpertDialog::setThresholds(const ExpertPreferences& thresholds)
{
    for (std::size_t i = 0; i < fields_.size(); ++i) {
        const QSignalBlocker quiet(fields_[i]);
        fields_[i]->setValue(thresholds.*expertThresholds()[i].value);
    }
    changed();
}

void ExpertDialog::changed()
{
    const auto wanted = thresholds();
    for (std::size_t i = 0; i < fields_.size(); ++i) {
        const auto& threshold = expertThresholds()[i];
        const bool isUsual = wanted.*threshold.value == threshold.normal;
        resets_[i]->setEnabled(!isUsual);
        auto font = fields_[i]->font();
        font.setBold(!isUsual); // what is not as usual stands out without a colour
        fields_[i]->setFont(font);
    }
    const bool isChange = wanted != settings_.thresholds();
    buttons_->button(QDialogButtonBox::Apply)->setEnabled(isChange);
    session_.stopTrial();
    pause_.stop();
    if (!isChange)
        return say(tr("These thresholds hold."), false);
    if (!session_.isOpen())
        return say(tr("With a capture open this says what a change would do."), false);
    if (session_.isFollowing())
        return say(tr("While the capture grows it is not known what the change would do."), false);
    say(tr("Judging the capture by these thresholds…"), true);
    pause_.start();
}

void ExpertDialog::startTrial()
{
    session_.tryThresholds(thresholds());
    if (!session_.isTrying()) // it is being read for another reason; `changed` comes when that is done
        say(tr("The capture is being read…"), false);
}

void ExpertDialog::say(const QString& text, bool isRunning)
{
    verdict_->setText(text);
    progress_->setVisible(isRunning);
    stop_->setVisible(isRunning);
}

QString ExpertDialog::verdict() const
{
    return verdict_->text();
}

void ExpertDialog::apply()
{
    session_.stopTrial();
    pause_.stop();
    settings_.setThresholds(thresholds());
    changed();
}

} // namespace netrondo
