#include "Shell/ReceiveDialog.h"

#include "Models/Text.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSettings>
#include <QSpinBox>
#include <QVBoxLayout>

namespace netrondo {

ReceiveDialog::ReceiveDialog(QSettings& settings, QWidget* parent)
    : QDialog(parent)
    , settings_(settings)
    , server_(new QLineEdit(settings.value(QStringLiteral("receive/server")).toString()))
    , verdict_(new QLabel)
    , timeout_(new QSpinBox)
    , reconnect_(new QCheckBox(tr("Connect &again, every 5 seconds, when the connection ends or none can be made")))
    , buttons_(new QDialogButtonBox(QDialogButtonBox::Cancel))
{
    setObjectName(QStringLiteral("ReceiveDialog"));
    setWindowTitle(tr("Receive from another machine"));
    setAttribute(Qt::WA_DeleteOnClose);
    server_->setObjectName(QStringLiteral("server"));
    server_->setPlaceholderText(tr("HOST or HOST:PORT, [IPv6]:PORT"));
    connect(server_, &QLineEdit::textChanged, this, &ReceiveDialog::refresh);
    verdict_->setObjectName(QStringLiteral("serverVerdict"));
    verdict_->setTextFormat(Qt::PlainText);
    timeout_->setObjectName(QStringLiteral("timeout"));
    timeout_->setRange(1, 300);
    timeout_->setSuffix(tr(" s"));
    timeout_->setValue(settings.value(QStringLiteral("receive/timeout"), 10).toInt());
    reconnect_->setObjectName(QStringLiteral("reconnect"));
    reconnect_->setChecked(settings.value(QStringLiteral("receive/reconnect"), false).toBool());
    auto* const hint = new QLabel(tr("There, a program serves a capture over TCP (PCAP over IP), such as\n"
                                     "tcpdump -U -w - not port %1 | nc -l %1")
                                      .arg(CaptureServer::usualPort));
    hint->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    auto* const start = buttons_->addButton(tr("&Receive"), QDialogButtonBox::AcceptRole);
    connect(buttons_, &QDialogButtonBox::accepted, this, &ReceiveDialog::accept);
    connect(buttons_, &QDialogButtonBox::rejected, this, &QDialog::reject);

    auto* const form = new QFormLayout;
    form->addRow(tr("&Server:"), server_);
    form->addRow(QString(), verdict_);
    form->addRow(tr("Give &up connecting after:"), timeout_);
    form->addRow(QString(), reconnect_);
    auto* const layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addWidget(hint);
    layout->addWidget(buttons_);
    start->setDefault(true); // which takes a button that is in the dialog
    resize(560, sizeHint().height());
    refresh();
}

std::optional<PcapOverIp::Options> ReceiveDialog::wanted() const
{
    const auto server = CaptureServer::parse(server_->text().trimmed().toStdString());
    if (!server)
        return std::nullopt;
    PcapOverIp::Options options{.server = *server};
    options.reconnect = reconnect_->isChecked();
    options.connectTimeout = std::chrono::seconds(timeout_->value());
    return options;
}

void ReceiveDialog::refresh()
{
    const auto options = wanted();
    verdict_->setText(options ? tr("✓ Port %1 on %2").arg(options->server.port).arg(asQt(options->server.host))
                          : server_->text().trimmed().isEmpty()
                          ? tr("The port is %1 unless given.").arg(CaptureServer::usualPort)
                          : tr("✗ This is not HOST or HOST:PORT."));
    for (auto* const button : buttons_->buttons())
        if (buttons_->buttonRole(button) == QDialogButtonBox::AcceptRole)
            button->setEnabled(options.has_value());
}

void ReceiveDialog::accept()
{
    if (!wanted())
        return;
    settings_.setValue(QStringLiteral("receive/server"), server_->text().trimmed());
    settings_.setValue(QStringLiteral("receive/timeout"), timeout_->value());
    settings_.setValue(QStringLiteral("receive/reconnect"), reconnect_->isChecked());
    QDialog::accept();
}

} // namespace netrondo
