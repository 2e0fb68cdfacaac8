// Interfaces are listed, filters compiled and the privilege is looked for on threads of their own: each can take longer
// than a window may stand still.
#include "Shell/CaptureDialog.h"

#include "Models/Text.h"
#include "Tasks/Background.h"

#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>
#include <QSettings>
#include <QSpinBox>
#include <QTreeWidget>
#include <QVBoxLayout>
#include <algorithm>

namespace netrondo {
namespace {
constexpr int largestSnaplen = 262'144;
constexpr int megabyte = 1 << 20;

QString stateOf(const NetworkInterface& interface)
{
    auto state = !interface.isUp ? CaptureDialog::tr("down")
        : interface.isRunning    ? CaptureDialog::tr("up")
                                 : CaptureDialog::tr("up, no carrier");
    if (interface.isLoopback)
        state += CaptureDialog::tr(", loopback");
    if (interface.isWireless)
        state += CaptureDialog::tr(", wireless");
    return state;
}

QString addressesOf(const NetworkInterface& interface)
{
    QStringList addresses;
    for (const auto& address : interface.addresses)
        addresses << asQt(address.text());
    return addresses.join(QStringLiteral(", "));
}

/// Works in the background for a dialog that need not wait for the answer when it closes.
template <typename Work, typename Done> void ask(CaptureDialog* dialog, Work work, Done done)
{
    inBackground(QCoreApplication::instance(), std::move(work),
                 [asking = QPointer(dialog), done = std::move(done)](const auto& answer) {
                     if (asking)
                         done(answer);
                 });
}
} // namespace

CaptureDialog::CaptureDialog(QSettings& settings, QWidget* parent)
    : QDialog(parent)
    , settings_(settings)
    , interfaces_(new QTreeWidget)
    , trouble_(new QLabel)
    , filter_(new QLineEdit)
    , verdict_(new QLabel)
    , snaplen_(new QSpinBox)
    , buffer_(new QSpinBox)
    , promiscuous_(new QCheckBox(tr("&Promiscuous: also frames that are meant for others")))
    , permission_(new QWidget)
    , buttons_(new QDialogButtonBox(QDialogButtonBox::Cancel))
{
    setObjectName(QStringLiteral("CaptureDialog"));
    setWindowTitle(tr("Capture on interfaces"));
    setAttribute(Qt::WA_DeleteOnClose);

    interfaces_->setObjectName(QStringLiteral("interfaces"));
    interfaces_->setAccessibleName(tr("Interfaces to capture on"));
    interfaces_->setHeaderLabels({tr("Interface"), tr("State"), tr("Addresses"), tr("Description")});
    interfaces_->setRootIsDecorated(false);
    interfaces_->setAlternatingRowColors(true);
    interfaces_->setMinimumHeight(interfaces_->fontMetrics().height() * 9);
    connect(interfaces_, &QTreeWidget::itemChanged, this, &CaptureDialog::refresh);
    connect(interfaces_, &QTreeWidget::itemDoubleClicked, this, [this](QTreeWidgetItem* item) {
        item->setCheckState(0, Qt::Checked);
        if (isReady())
            accept();
    });
    trouble_->setWordWrap(true);
    trouble_->hide();

    filter_->setObjectName(QStringLiteral("captureFilter"));
    filter_->setPlaceholderText(tr("Every frame; “tcp port 80” for some of them (libpcap’s language)"));
    filter_->setClearButtonEnabled(true);
    filter_->setAccessibleName(tr("Capture filter"));
    verdict_->setObjectName(QStringLiteral("verdict"));
    verdict_->setTextFormat(Qt::PlainText);
    verdict_->setWordWrap(true);
    verdict_->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    pause_.setSingleShot(true);
    pause_.setInterval(150);
    connect(&pause_, &QTimer::timeout, this, &CaptureDialog::checkFilter);
    connect(filter_, &QLineEdit::textChanged, this, [this] {
        ++question_; // what is being answered is no longer of interest
        isFilterGood_ = false;
        verdict_->setText({});
        pause_.start();
        refresh();
    });

    snaplen_->setObjectName(QStringLiteral("snaplen"));
    snaplen_->setRange(1, largestSnaplen);
    snaplen_->setSuffix(tr(" bytes"));
    buffer_->setObjectName(QStringLiteral("buffer"));
    buffer_->setRange(1, 1024);
    buffer_->setSuffix(tr(" MB"));
    buffer_->setToolTip(tr("What the kernel keeps until it is fetched; more helps where frames are dropped"));

    auto* const command = new QLineEdit(asQt(LiveCapture::permissionCommand()));
    command->setObjectName(QStringLiteral("permissionCommand"));
    command->setReadOnly(true);
    command->setAccessibleName(tr("The command that gives the permission"));
    auto* const copy = new QPushButton(tr("Copy &command"));
    copy->setAutoDefault(false); // Enter starts the capture, wherever the focus is but here
    connect(copy, &QPushButton::clicked, this, [command] { QApplication::clipboard()->setText(command->text()); });
    auto* const why = new QLabel(tr("This user may not capture yet. The small program that captures gets the "
                                    "permission, once, by this command in a terminal; the window itself needs none."));
    why->setWordWrap(true);
    auto* const row = new QHBoxLayout;
    row->addWidget(command, 1);
    row->addWidget(copy);
    auto* const column = new QVBoxLayout(permission_);
    column->setContentsMargins(0, 0, 0, 0);
    column->addWidget(why);
    column->addLayout(row);
    permission_->setObjectName(QStringLiteral("permission"));
    permission_->hide();

    auto* const start = buttons_->addButton(tr("&Start"), QDialogButtonBox::AcceptRole);
    auto* const again = buttons_->addButton(tr("&Look again"), QDialogButtonBox::ActionRole);
    again->setShortcut(QKeySequence::Refresh);
    again->setAutoDefault(false);
    connect(again, &QPushButton::clicked, this, &CaptureDialog::listInterfaces);
    connect(buttons_, &QDialogButtonBox::accepted, this, &CaptureDialog::accept);
    connect(buttons_, &QDialogButtonBox::rejected, this, &QDialog::reject);

    auto* const form = new QFormLayout;
    form->addRow(tr("Capture &filter:"), filter_);
    form->addRow(QString(), verdict_);
    form->addRow(tr("&Keep of a frame:"), snaplen_);
    form->addRow(tr("&Buffer:"), buffer_);
    form->addRow(QString(), promiscuous_);
    auto* const layout = new QVBoxLayout(this);
    layout->addWidget(interfaces_, 1);
    layout->addWidget(trouble_);
    layout->addLayout(form);
    layout->addWidget(permission_);
    layout->addWidget(buttons_);
    start->setDefault(true); // which takes a button that is in the dialog
    resize(760, 480);

    filter_->setText(settings.value(QStringLiteral("capture/filter")).toString());
    snaplen_->setValue(settings.value(QStringLiteral("capture/snaplen"), largestSnaplen).toInt());
    buffer_->setValue(settings.value(QStringLiteral("capture/buffer"), 16).toInt());
    promiscuous_->setChecked(settings.value(QStringLiteral("capture/promiscuous"), true).toBool());
    listInterfaces();
    checkFilter();
    askForPermission();
}

void CaptureDialog::setFilter(const QString& filter)
{
    filter_->setText(filter);
}

void CaptureDialog::listInterfaces()
{
    ask(this, networkInterfaces, [this](const CaptureResult<std::vector<NetworkInterface>>& found) {
        trouble_->setVisible(!found);
        if (found)
            show(*found);
        else
            trouble_->setText(asQt(found.error().errorDescription()));
    });
}

void CaptureDialog::show(const std::vector<NetworkInterface>& interfaces)
{
    auto ticked = settings_.value(QStringLiteral("capture/interfaces")).toStringList();
    for (int i = 0; i < interfaces_->topLevelItemCount(); ++i)
        if (const auto* const item = interfaces_->topLevelItem(i); item->checkState(0) == Qt::Checked)
            ticked << item->text(0);
    interfaces_->clear();
    for (const auto& interface : interfaces) {
        const auto name = asQt(interface.name);
        auto* const item =
            new QTreeWidgetItem({name, stateOf(interface), addressesOf(interface), asQt(interface.description)});
        item->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsUserCheckable);
        item->setCheckState(0, ticked.contains(name) ? Qt::Checked : Qt::Unchecked);
        interfaces_->addTopLevelItem(item);
    }
    // The likeliest comes first.
    if (auto* const first = interfaces_->topLevelItem(0); first && wanted().empty())
        first->setCheckState(0, Qt::Checked);
    for (int column = 0; column < interfaces_->columnCount(); ++column)
        interfaces_->resizeColumnToContents(column);
    refresh();
}

/// Finds out by trying, on the one interface that every machine has.
void CaptureDialog::askForPermission()
{
    ask(
        this, [] { return LiveCapture::isPermitted("lo"); },
        [this](bool isPermitted) { permission_->setVisible(!isPermitted); });
}

void CaptureDialog::checkFilter()
{
    ask(
        this,
        [text = filter_->text().toStdString()] {
            const auto checked = LiveCapture::checkFilter(text);
            return checked ? QString() : asQt(checked.error().errorDescription());
        },
        [this, question = ++question_](const QString& error) {
            if (question == question_)
                showVerdict(error);
        });
}

void CaptureDialog::showVerdict(const QString& error)
{
    isFilterGood_ = error.isEmpty();
    verdict_->setText(filter_->text().trimmed().isEmpty() ? tr("✓ Every frame is captured.")
                          : isFilterGood_                 ? tr("✓ libpcap takes this filter.")
                                                          : tr("✗ %1").arg(error));
    refresh();
}

QString CaptureDialog::verdict() const
{
    return verdict_->text();
}

bool CaptureDialog::isReady() const
{
    return isFilterGood_ && !wanted().empty();
}

void CaptureDialog::refresh()
{
    for (auto* const button : buttons_->buttons())
        if (buttons_->buttonRole(button) == QDialogButtonBox::AcceptRole)
            button->setEnabled(isReady());
}

std::vector<LiveCapture::Options> CaptureDialog::wanted() const
{
    std::vector<LiveCapture::Options> wanted;
    for (int i = 0; i < interfaces_->topLevelItemCount(); ++i) {
        const auto* const item = interfaces_->topLevelItem(i);
        if (item->checkState(0) != Qt::Checked)
            continue;
        LiveCapture::Options options;
        options.interface = item->text(0).toStdString();
        options.filter = filter_->text().trimmed().toStdString();
        options.snaplen = static_cast<std::uint32_t>(snaplen_->value());
        options.bufferSize = static_cast<std::uint32_t>(buffer_->value()) * megabyte;
        options.promiscuous = promiscuous_->isChecked();
        wanted.push_back(std::move(options));
    }
    return wanted;
}

void CaptureDialog::accept()
{
    if (!isReady())
        return;
    QStringList names;
    for (const auto& options : wanted())
        names << asQt(options.interface);
    settings_.setValue(QStringLiteral("capture/interfaces"), names);
    settings_.setValue(QStringLiteral("capture/filter"), filter_->text().trimmed());
    settings_.setValue(QStringLiteral("capture/snaplen"), snaplen_->value());
    settings_.setValue(QStringLiteral("capture/buffer"), buffer_->value());
    settings_.setValue(QStringLiteral("capture/promiscuous"), promiscuous_->isChecked());
    QDialog::accept();
}

} // namespace netrondo
