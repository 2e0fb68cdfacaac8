// The file is asked for afterwards, as wherever something is written.
#include "Views/FrameExportDialog.h"

#include <QBoxLayout>
#include <QButtonGroup>
#include <QDialogButtonBox>
#include <QGroupBox>
#include <QLocale>
#include <QPushButton>
#include <QRadioButton>

namespace netrondo {

FrameExportDialog::FrameExportDialog(int shown, int chosen, bool hasMarked, QWidget* parent) : QDialog(parent)
{
    setWindowTitle(tr("Export what is decoded"));
    setMinimumWidth(fontMetrics().averageCharWidth() * 60); // or the title is cut
    auto* column = new QVBoxLayout(this);
    const auto group = [&](const QString& title, const QStringList& choices) {
        auto* box = new QGroupBox(title);
        auto* rows = new QVBoxLayout(box);
        auto* buttons = new QButtonGroup(this);
        for (const auto& choice : choices) {
            auto* button = new QRadioButton(choice);
            buttons->addButton(button, static_cast<int>(buttons->buttons().size()));
            rows->addWidget(button);
        }
        buttons->button(0)->setChecked(true);
        column->addWidget(box);
        return buttons;
    };
    extent_ = group(tr("Frames"),
                    {tr("All that are &shown: %1").arg(locale().toString(shown)),
                     tr("The &chosen ones: %1").arg(locale().toString(chosen)), tr("All that are &marked")});
    extent_->button(static_cast<int>(Extent::marked))->setEnabled(hasMarked);
    extent_->button(static_cast<int>(chosen > 1 ? Extent::chosen : Extent::shown))->setChecked(true);
    form_ = group(tr("Form"),
                  {tr("The packet list as &text, a line a frame"), tr("&JSON with the protocol tree, a line a frame")});
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Cancel);
    auto* go = buttons->addButton(tr("&Export…"), QDialogButtonBox::AcceptRole);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    column->addWidget(buttons);
    go->setDefault(true); // the dialog takes that only from a button it has
}

FrameExportDialog::Extent FrameExportDialog::extent() const
{
    return static_cast<Extent>(extent_->checkedId());
}

FrameWriter::Form FrameExportDialog::form() const
{
    return form_->checkedId() == 0 ? FrameWriter::Form::list : FrameWriter::Form::json;
}

} // namespace netrondo
