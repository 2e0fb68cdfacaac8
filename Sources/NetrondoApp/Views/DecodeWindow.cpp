// A window around the view.
#include "Views/DecodeWindow.h"

#include "Views/DecodeView.h"

#include <QBoxLayout>
#include <QFileInfo>
#include <QLabel>
#include <QMenuBar>
#include <QScreen>
#include <QSettings>
#include <QStatusBar>

namespace netrondo {

DecodeWindow::DecodeWindow(QWidget* parent) : QMainWindow(parent)
{
    setObjectName(QStringLiteral("DecodeWindow"));
    resize(QSize(1200, 800).boundedTo(screen()->availableSize() * 9 / 10));
    filterBar_ = new FilterBar;
    view_ = new DecodeView;
    view_->attach(*filterBar_);
    auto* content = new QWidget;
    auto* column = new QVBoxLayout(content);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    column->addWidget(filterBar_);
    column->addWidget(view_, 1);
    setCentralWidget(content);

    auto* file = menuBar()->addMenu(tr("&File"));
    view_->fillFileMenu(*file);
    file->addAction(tr("&Close"), QKeySequence::Close, this, &QWidget::close);
    view_->fillEditMenu(*menuBar()->addMenu(tr("&Edit")));
    view_->fillGoMenu(*menuBar()->addMenu(tr("&Go")));
    view_->fillViewMenu(*menuBar()->addMenu(tr("&View")));

    auto* status = new QLabel(view_->status());
    status->setTextInteractionFlags(Qt::TextSelectableByMouse);
    statusBar()->addWidget(status, 1);
    connect(view_, &DecodeView::statusChanged, status, &QLabel::setText);
    connect(view_, &DecodeView::remarked, this,
            [this](const QString& sentence) { statusBar()->showMessage(sentence, DecodeView::remarkFor); });
    connect(view_, &DecodeView::failed, this, [this](const QString& sentence) { statusBar()->showMessage(sentence); });
    restoreGeometry(QSettings().value(QStringLiteral("decode/window")).toByteArray());
    view_->setFocus();
}

DecodeWindow::~DecodeWindow()
{
    QSettings().setValue(QStringLiteral("decode/window"), saveGeometry());
}

void DecodeWindow::setStore(std::shared_ptr<FrameStore> store)
{
    setWindowTitle(store ? tr("Frames of %1").arg(QFileInfo(store->path()).fileName()) : tr("Frames"));
    view_->setStore(std::move(store));
}

void DecodeWindow::open(const QString& path, FrameStore::Reading reading)
{
    setStore(std::make_shared<FrameStore>(path, reading));
}

} // namespace netrondo
