// One row a name of the catalogue, with the few rules of the language above.
#include "Views/FilterHelp.h"

#include "Dissection/Filter/DisplayFilterCatalog.h"

#include <QBoxLayout>
#include <QDialogButtonBox>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QScreen>
#include <QStyle>
#include <QTreeWidget>
#include <algorithm>

namespace netrondo {
namespace {
QString toQString(std::string_view text)
{
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}
} // namespace

FilterHelp::FilterHelp(QWidget* parent) : QDialog(parent)
{
    setWindowTitle(tr("Names of display filters"));
    auto* rules = new QLabel(
        tr("A protocol’s name selects its frames: dns. A field is compared with ==, !=, >, <, >=, <= or contains: "
           "ip.ttl < 5. Terms are joined with and, or, not and parentheses; text with blanks stands in quotes."));
    rules->setWordWrap(true);
    search_ = new QLineEdit;
    search_->setPlaceholderText(tr("Search names and meanings"));
    search_->setAccessibleName(tr("Search names and meanings"));
    search_->setClearButtonEnabled(true);
    names_ = new QTreeWidget;
    names_->setAccessibleName(tr("Names"));
    names_->setRootIsDecorated(false);
    names_->setUniformRowHeights(true);
    names_->setHeaderLabels({tr("Name"), tr("Meaning"), tr("Other spellings")});
    for (const auto& field : DisplayFilterCatalog::fields()) {
        QStringList others;
        for (const auto alias : field.aliases)
            others.append(toQString(alias));
        new QTreeWidgetItem(names_,
                            {toQString(field.name), toQString(field.summary), others.join(QStringLiteral(", "))});
    }
    names_->header()->setStretchLastSection(false); // or the last column would keep its first width
    names_->header()->resizeSections(QHeaderView::ResizeToContents);
    names_->setHorizontalScrollMode(QAbstractItemView::ScrollPerPixel);
    const int margins = 2 * style()->pixelMetric(QStyle::PM_LayoutLeftMargin) + 2 * names_->frameWidth()
        + 2 * style()->pixelMetric(QStyle::PM_ScrollBarExtent);
    const int room = screen()->availableGeometry().width() * 9 / 10;
    resize(std::min(names_->header()->length() + margins, room), fontMetrics().height() * 28);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close);
    auto* column = new QVBoxLayout(this);
    for (auto* widget : std::initializer_list<QWidget*>{rules, search_, names_, buttons})
        column->addWidget(widget);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(search_, &QLineEdit::textChanged, this, &FilterHelp::narrow);
    connect(search_, &QLineEdit::returnPressed, names_, [this] { names_->setFocus(); });
    connect(names_, &QTreeWidget::itemActivated, this,
            [this](const QTreeWidgetItem* item) { emit chosen(item->text(0)); });
    search_->setFocus();
}

void FilterHelp::narrow(const QString& words)
{
    for (int i = 0; i < names_->topLevelItemCount(); ++i) {
        auto* item = names_->topLevelItem(i);
        bool fits = false;
        for (int column = 0; column < item->columnCount(); ++column)
            fits = fits || item->text(column).contains(words, Qt::CaseInsensitive);
        item->setHidden(!fits);
    }
}

} // namespace netrondo
