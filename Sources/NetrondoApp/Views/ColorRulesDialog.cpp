// A rule is a row; the first one that fits a frame colours it, so the order is part of what is edited.
#include "Views/ColorRulesDialog.h"

#include <QBoxLayout>
#include <QColorDialog>
#include <QDialogButtonBox>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QScreen>
#include <QTableWidget>
#include <algorithm>

namespace netrondo {
namespace {
enum Column { name, filter, color, columns };

constexpr int maxRules = 100; // a row of the packet list keeps the number of its rule in a byte
} // namespace

ColorRulesDialog::ColorRulesDialog(const FrameColorRules& rules, QWidget* parent) : QDialog(parent)
{
    setWindowTitle(tr("Colours of the packet list"));
    resize(std::min(fontMetrics().averageCharWidth() * 170, screen()->availableGeometry().width() * 9 / 10),
           fontMetrics().height() * 24);
    auto* what = new QLabel(tr("The first rule whose filter selects a frame colours its row."));
    what->setWordWrap(true);
    table_ = new QTableWidget(0, columns);
    table_->setAccessibleName(tr("Rules"));
    table_->setHorizontalHeaderLabels({tr("Name"), tr("Filter"), tr("Colour")});
    table_->setSelectionBehavior(QAbstractItemView::SelectRows);
    table_->setSelectionMode(QAbstractItemView::SingleSelection);
    table_->setTabKeyNavigation(false); // Tab leaves the table, as in every other one
    table_->verticalHeader()->hide();
    table_->horizontalHeader()->setSectionResizeMode(filter, QHeaderView::Stretch);
    table_->verticalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents); // a long filter takes several lines
    message_ = new QLabel;
    message_->setTextFormat(Qt::PlainText);
    message_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    message_->setWordWrap(true);

    auto* side = new QVBoxLayout;
    const auto button = [&](const QString& text, auto act) {
        auto* made = new QPushButton(text);
        made->setAutoDefault(false);
        connect(made, &QPushButton::clicked, this, act);
        side->addWidget(made);
        return made;
    };
    button(tr("&Add"), [this] { add(); });
    remove_ = button(tr("&Remove"), [this] { remove(); });
    up_ = button(tr("Move &Up"), [this] { move(-1); });
    down_ = button(tr("Move &Down"), [this] { move(1); });
    color_ = button(tr("&Colour…"), [this] { chooseColor(); });
    side->addStretch();
    button(tr("Re&store Defaults"), [this] { show(FrameColorRules::defaults().rules()); });

    buttons_ = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    connect(buttons_, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons_, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(table_, &QTableWidget::itemChanged, this, &ColorRulesDialog::check);
    connect(table_, &QTableWidget::currentCellChanged, this, &ColorRulesDialog::check);
    connect(table_, &QTableWidget::cellActivated, this, [this](int, int column) {
        if (column == color)
            chooseColor();
    });

    auto* middle = new QHBoxLayout;
    middle->addWidget(table_, 1);
    middle->addLayout(side);
    auto* column = new QVBoxLayout(this);
    column->addWidget(what);
    column->addLayout(middle, 1);
    column->addWidget(message_);
    column->addWidget(buttons_);
    show(rules.rules());
}

std::vector<FrameColorRule> ColorRulesDialog::rules() const
{
    std::vector<FrameColorRule> all;
    for (int row = 0; row < table_->rowCount(); ++row)
        all.push_back({table_->item(row, name)->text(), table_->item(row, filter)->text().trimmed(),
                       table_->item(row, color)->data(Qt::UserRole).value<QColor>()});
    return all;
}

void ColorRulesDialog::show(const std::vector<FrameColorRule>& rules)
{
    table_->setRowCount(0);
    for (const auto& rule : rules)
        insert(table_->rowCount(), rule);
    table_->resizeColumnToContents(name);
    table_->setCurrentCell(0, name);
    check();
}

void ColorRulesDialog::insert(int row, const FrameColorRule& rule)
{
    const QSignalBlocker quiet(table_); // a row is checked when it is whole
    table_->insertRow(row);
    table_->setItem(row, name, new QTableWidgetItem(rule.name));
    table_->setItem(row, filter, new QTableWidgetItem(rule.filter));
    auto* hue = new QTableWidgetItem;
    hue->setFlags(hue->flags() & ~Qt::ItemIsEditable);
    table_->setItem(row, color, hue);
    setColor(row, rule.color);
}

void ColorRulesDialog::setColor(int row, const QColor& hue)
{
    auto* item = table_->item(row, color);
    item->setData(Qt::UserRole, hue);
    item->setText(hue.name());
    QPixmap sample(32, 32);
    sample.fill(hue);
    item->setIcon(QIcon(sample));
}

void ColorRulesDialog::add()
{
    const int row = table_->currentRow() + 1;
    insert(row, {tr("New rule"), QString(), QColor(0x56, 0xb4, 0xe9)});
    table_->setCurrentCell(row, filter);
    table_->setFocus();
    check();
    table_->editItem(table_->item(row, filter));
}

void ColorRulesDialog::remove()
{
    table_->removeRow(table_->currentRow());
    check();
}

void ColorRulesDialog::move(int by)
{
    const int from = table_->currentRow(), to = from + by, at = table_->currentColumn();
    if (from < 0 || to < 0 || to >= table_->rowCount())
        return;
    const auto rule = rules()[static_cast<std::size_t>(from)];
    table_->removeRow(from);
    insert(to, rule);
    table_->setCurrentCell(to, at);
    check();
}

void ColorRulesDialog::chooseColor()
{
    const int row = table_->currentRow();
    if (row < 0)
        return;
    const auto chosen = QColorDialog::getColor(table_->item(row, color)->data(Qt::UserRole).value<QColor>(), this);
    if (chosen.isValid())
        setColor(row, chosen);
}

void ColorRulesDialog::check()
{
    const int row = table_->currentRow(), count = table_->rowCount();
    remove_->setEnabled(row >= 0);
    up_->setEnabled(row > 0);
    down_->setEnabled(row >= 0 && row + 1 < count);
    color_->setEnabled(row >= 0);
    QString fault;
    if (count > maxRules)
        fault = tr("There may be at most %1 rules").arg(maxRules);
    for (const auto& rule : rules()) {
        const auto compiled = DisplayFilter::compile(rule.filter.toStdString());
        if (!compiled && fault.isEmpty())
            fault = tr("%1: %2").arg(rule.name, QString::fromStdString(compiled.error().description()));
    }
    message_->setText(fault);
    buttons_->button(QDialogButtonBox::Ok)->setEnabled(fault.isEmpty());
}

} // namespace netrondo
