// Every state is said three times: by a sign, by a colour and by a sentence.
#include "Views/FilterBar.h"

#include "Dissection/Filter/DisplayFilterCatalog.h"
#include "Dissection/Filter/Tokenizer.h"
#include "Views/FilterHelp.h"

#include <QAction>
#include <QBoxLayout>
#include <QCompleter>
#include <QDragEnterEvent>
#include <QInputDialog>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QMenu>
#include <QMimeData>
#include <QPainter>
#include <QPainterPath>
#include <QProgressBar>
#include <QSettings>
#include <QShortcut>
#include <QToolButton>
#include <algorithm>

namespace netrondo {
namespace {
constexpr qsizetype maxHistory = 30;
const QColor goodColor(0x00, 0x9e, 0x73), badColor(0xd5, 0x5e, 0x00);

QString toQString(std::string_view text)
{
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

/// A sign of strokes in a square: a tick, a cross, a funnel.
QIcon strokes(const QPainterPath& path, const QColor& color)
{
    constexpr int size = 64; // scaled down by Qt, so that it is sharp on dense screens
    QPixmap pixmap(size, size);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.scale(size, size);
    painter.setPen(QPen(color, 0.13, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.drawPath(path);
    return QIcon(pixmap);
}

QPainterPath lines(std::initializer_list<QPointF> points)
{
    QPainterPath path(*points.begin());
    for (const auto& point : points)
        path.lineTo(point);
    return path;
}

QPainterPath tick()
{
    return lines({{0.18, 0.55}, {0.42, 0.78}, {0.84, 0.24}});
}

QPainterPath cross()
{
    auto path = lines({{0.24, 0.24}, {0.76, 0.76}});
    path.addPath(lines({{0.76, 0.24}, {0.24, 0.76}}));
    return path;
}

QPainterPath funnel()
{
    return lines({{0.14, 0.2}, {0.86, 0.2}, {0.58, 0.54}, {0.58, 0.84}, {0.42, 0.74}, {0.42, 0.54}, {0.14, 0.2}});
}

/// What a filter that compiles may still surprise with.
QString surpriseIn(std::string_view text)
{
    const auto tokens = tokenize(text);
    for (std::size_t i = 0; i + 2 < tokens.size(); ++i) {
        const auto& value = tokens[i + 2].text;
        const auto* field = DisplayFilterCatalog::field(tokens[i].text);
        if (!field || !tokens[i + 1].isComparison())
            continue;
        const bool isAddress = field->name.ends_with(".addr") || field->name.ends_with(".src")
            || field->name.ends_with(".dst") || field->name == "host";
        if (isAddress && value.find('/') != std::string_view::npos)
            return FilterBar::tr("An address is compared as a whole: no frame has the address “%1”")
                .arg(toQString(value));
        if (tokens[i + 1].kind == FilterToken::Kind::ne
            && field->extractor.kind == DisplayFilterExtractor::Kind::summaryEitherPort)
            return FilterBar::tr(
                       "“!=” selects frames of which one port differs; “not %1 == %2” selects those without it")
                .arg(toQString(tokens[i].text), toQString(value));
    }
    return {};
}
} // namespace

FilterBar::FilterBar(QWidget* parent) : QWidget(parent)
{
    setObjectName(QStringLiteral("FilterBar"));
    setAcceptDrops(true);

    line_ = new QLineEdit;
    line_->setPlaceholderText(tr("Display filter, for example  tcp.port == 443 and not arp"));
    line_->setAccessibleName(tr("Display filter"));
    line_->setAcceptDrops(false); // the bar joins what is dropped to what is there
    line_->installEventFilter(this);
    sign_ = line_->addAction(QIcon(), QLineEdit::LeadingPosition);

    const auto button = [](const QString& text, const QString& help) {
        auto* made = new QToolButton;
        made->setText(text);
        made->setToolTip(help);
        made->setAccessibleName(help);
        made->setAutoRaise(true);
        made->setFocusPolicy(Qt::TabFocus);
        return made;
    };
    menuButton_ = button(tr("Filters"), tr("Favourites and earlier filters"));
    menuButton_->setPopupMode(QToolButton::InstantPopup);
    menuButton_->setMenu(new QMenu(menuButton_));
    connect(menuButton_->menu(), &QMenu::aboutToShow, this, &FilterBar::fillMenu);
    applyButton_ = button(tr("Apply"), tr("Show only the frames that match"));
    connect(applyButton_, &QToolButton::clicked, this, &FilterBar::apply);
    clearButton_ = button(tr("Clear"), tr("Show every frame"));
    connect(clearButton_, &QToolButton::clicked, this, &FilterBar::clear);
    auto* help = button(tr("?"), tr("The names that filters know"));
    connect(help, &QToolButton::clicked, this, &FilterBar::showHelp);
    progress_ = new QProgressBar;
    progress_->setMaximumWidth(fontMetrics().averageCharWidth() * 18);
    progress_->setAccessibleName(tr("Frames searched"));
    progress_->hide();
    cancelButton_ = button(tr("Stop"), tr("Stop searching and keep what was found"));
    cancelButton_->hide();
    connect(cancelButton_, &QToolButton::clicked, this, &FilterBar::cancelled);

    message_ = new QLabel;
    message_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    message_->setTextFormat(Qt::PlainText);
    auto small = message_->font();
    small.setPointSizeF(small.pointSizeF() * 0.92);
    message_->setFont(small);
    message_->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);

    auto* row = new QHBoxLayout;
    row->setSpacing(4);
    for (auto* widget : std::initializer_list<QWidget*>{menuButton_, line_, applyButton_, clearButton_, progress_,
                                                        cancelButton_, help})
        row->addWidget(widget, widget == line_ ? 1 : 0);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(6, 4, 6, 2);
    column->setSpacing(1);
    column->addLayout(row);
    column->addWidget(message_);

    completer_ = new QCompleter(&suggestions_, this);
    completer_->setCompletionMode(QCompleter::UnfilteredPopupCompletion);
    completer_->setWidget(line_);
    completer_->popup()->installEventFilter(this);
    completer_->popup()->setAccessibleName(tr("Completions"));
    connect(completer_, qOverload<const QModelIndex&>(&QCompleter::activated), this,
            [this](const QModelIndex& index) { accept(index.row()); });

    connect(line_, &QLineEdit::textEdited, this, [this] {
        historyPlace_ = -1;
        isTyping_ = true;
        suggest();
    });
    connect(line_, &QLineEdit::textChanged, this, &FilterBar::check);
    connect(line_, &QLineEdit::cursorPositionChanged, this, &FilterBar::check);
    connect(line_, &QLineEdit::returnPressed, this, &FilterBar::apply);

    auto* focus = new QShortcut(QKeySequence(Qt::CTRL | Qt::Key_Slash), this);
    connect(focus, &QShortcut::activated, this, [this] {
        line_->setFocus(Qt::ShortcutFocusReason);
        line_->selectAll();
    });
    auto* helpKey = new QShortcut(QKeySequence(Qt::Key_F1), this);
    helpKey->setContext(Qt::WidgetWithChildrenShortcut);
    connect(helpKey, &QShortcut::activated, this, &FilterBar::showHelp);

    QSettings settings;
    history_ = settings.value(QStringLiteral("filter/history")).toStringList();
    const int count = settings.beginReadArray(QStringLiteral("filter/favourites"));
    for (int i = 0; i < count; ++i) {
        settings.setArrayIndex(i);
        favourites_.append(
            {settings.value(QStringLiteral("name")).toString(), settings.value(QStringLiteral("filter")).toString()});
    }
    settings.endArray();
    check();
}

QString FilterBar::text() const
{
    return line_->text();
}

QString FilterBar::message() const
{
    return message_->text();
}

void FilterBar::setText(const QString& text)
{
    isTyping_ = false;
    line_->setText(text);
}

void FilterBar::beginWith(const QString& text)
{
    line_->setFocus(Qt::ShortcutFocusReason);
    isTyping_ = true;
    line_->setText(text);
    suggest();
}

void FilterBar::take(const QString& filter, FilterFrom::Joint joint, Use use)
{
    setText(QString::fromStdString(FilterFrom::joined(text().toStdString(), filter.toStdString(), joint)));
    if (use == Use::apply)
        apply();
    else
        line_->setFocus(Qt::OtherFocusReason);
}

void FilterBar::check()
{
    const auto typed = text().trimmed();
    const auto filter = DisplayFilter::compileOptional(typed.toStdString());
    if (!filter)
        state_ = isUnfinished(filter.error()) ? State::unfinished : State::invalid;
    else if (!*filter)
        state_ = State::empty;
    else
        state_ = typed == applied_ ? State::applied : State::valid;
    if (state_ == State::unfinished) {
        say({}, false);
    } else if (!filter) {
        say(toQString(filter.error().description()), true);
    } else {
        const auto surprise = surpriseIn(typed.toStdString());
        say(surprise.isEmpty() ? helpAtCursor() : surprise, false);
    }
    showState();
}

/// Whether the only fault is a name that is still being typed.
bool FilterBar::isUnfinished(const DisplayFilter::CompileError& error) const
{
    const auto typed = text().left(line_->cursorPosition());
    return isTyping_ && error.kind == DisplayFilter::CompileError::Kind::unknownField
        && typed.endsWith(QString::fromStdString(error.payload))
        && !DisplayFilterCompleter::suggestions(typed.toStdString(), 1).empty();
}

void FilterBar::say(const QString& sentence, bool isError)
{
    message_->setText(sentence.isEmpty() ? QStringLiteral(" ") : sentence);
    auto colors = palette();
    const bool isDark = colors.color(QPalette::Window).lightnessF() < 0.5;
    if (isError)
        colors.setColor(QPalette::WindowText, isDark ? badColor.lighter(150) : badColor.darker(130));
    message_->setPalette(colors);
    line_->setAccessibleDescription(sentence);
}

void FilterBar::showState()
{
    const auto base = palette().color(QPalette::Base);
    const auto tint = [&](const QColor& color) {
        const double share = base.lightnessF() > 0.5 ? 0.14 : 0.28;
        const auto mix = [share](int a, int b) { return static_cast<int>(a * share + b * (1 - share)); };
        return QColor(mix(color.red(), base.red()), mix(color.green(), base.green()), mix(color.blue(), base.blue()));
    };
    auto colors = palette();
    const bool isDark = base.lightnessF() < 0.5;
    const auto good = isDark ? goodColor.lighter(150) : goodColor, bad = isDark ? badColor.lighter(140) : badColor;
    switch (state_) {
    case State::empty:
        sign_->setIcon(strokes(funnel(), colors.color(QPalette::PlaceholderText)));
        sign_->setToolTip(tr("No filter"));
        break;
    case State::unfinished:
        sign_->setIcon(strokes(funnel(), colors.color(QPalette::PlaceholderText)));
        sign_->setToolTip(tr("Not finished: the name can be completed"));
        break;
    case State::valid:
        sign_->setIcon(strokes(tick(), good));
        sign_->setToolTip(tr("Valid; press Enter to apply it"));
        colors.setColor(QPalette::Base, tint(goodColor));
        break;
    case State::applied:
        sign_->setIcon(strokes(funnel(), good));
        sign_->setToolTip(tr("Applied"));
        colors.setColor(QPalette::Base, tint(goodColor));
        break;
    case State::invalid:
        sign_->setIcon(strokes(cross(), bad));
        sign_->setToolTip(tr("Not valid: %1").arg(message()));
        colors.setColor(QPalette::Base, tint(badColor));
        break;
    }
    line_->setPalette(colors);
    sign_->setText(sign_->toolTip());
    applyButton_->setEnabled(state_ == State::valid);
    clearButton_->setEnabled(state_ != State::empty || !applied_.isEmpty());
}

/// What the name at the cursor means.
QString FilterBar::helpAtCursor() const
{
    const auto typed = text().toStdString();
    const auto cursor = text().left(line_->cursorPosition()).toStdString().size();
    for (const auto& token : tokenize(typed)) {
        if (token.kind != FilterToken::Kind::ident || token.end < cursor || token.end - token.text.size() > cursor)
            continue;
        if (const auto* field = DisplayFilterCatalog::field(token.text)) {
            auto words = QStringLiteral("%1: %2").arg(toQString(field->name), toQString(field->summary));
            if (!field->aliases.empty()) {
                QStringList others;
                for (const auto alias : field->aliases)
                    others.append(toQString(alias));
                words += tr(" (also %1)").arg(others.join(QStringLiteral(", ")));
            }
            return words;
        }
    }
    return {};
}

void FilterBar::apply()
{
    completer_->popup()->hide();
    isTyping_ = false; // whoever presses Enter has finished
    check();
    if (state_ == State::invalid)
        return;
    applied_ = text().trimmed();
    remember(applied_);
    check();
    emit applied(applied_);
}

void FilterBar::clear()
{
    line_->clear();
    apply();
}

void FilterBar::remember(const QString& filter)
{
    if (filter.isEmpty())
        return;
    history_.removeAll(filter);
    history_.prepend(filter);
    history_.resize(std::min(history_.size(), maxHistory));
    QSettings().setValue(QStringLiteral("filter/history"), history_);
}

void FilterBar::addFavourite(const QString& name, const QString& filter)
{
    favourites_.removeIf([&](const auto& favourite) { return favourite.first == name; });
    favourites_.append({name, filter});
    saveFavourites();
}

void FilterBar::removeFavourite(const QString& name)
{
    favourites_.removeIf([&](const auto& favourite) { return favourite.first == name; });
    saveFavourites();
}

void FilterBar::saveFavourites() const
{
    QSettings settings;
    settings.remove(QStringLiteral("filter/favourites"));
    settings.beginWriteArray(QStringLiteral("filter/favourites"), static_cast<int>(favourites_.size()));
    for (int i = 0; i < favourites_.size(); ++i) {
        settings.setArrayIndex(i);
        settings.setValue(QStringLiteral("name"), favourites_[i].first);
        settings.setValue(QStringLiteral("filter"), favourites_[i].second);
    }
    settings.endArray();
}

void FilterBar::fillMenu()
{
    auto* menu = menuButton_->menu();
    menu->clear();
    const auto offer = [&](const QString& label, const QString& filter) {
        auto plain = label;
        auto* action = menu->addAction(plain.replace(QLatin1Char('&'), QStringLiteral("&&")));
        action->setToolTip(filter);
        connect(action, &QAction::triggered, this, [this, filter] { setText(filter), apply(); });
    };
    menu->addSection(tr("Favourites"));
    for (const auto& [name, filter] : favourites_)
        offer(QStringLiteral("%1  —  %2").arg(name, filter), filter);
    auto* add = menu->addAction(tr("Keep this filter as a favourite…"));
    add->setEnabled(state_ == State::valid || state_ == State::applied);
    connect(add, &QAction::triggered, this, [this] {
        bool isNamed = false;
        const auto name =
            QInputDialog::getText(this, tr("Favourite filter"), tr("Name:"), QLineEdit::Normal, {}, &isNamed);
        if (isNamed && !name.trimmed().isEmpty())
            addFavourite(name.trimmed(), text().trimmed());
    });
    if (!favourites_.isEmpty()) {
        auto* remove = menu->addMenu(tr("Remove a favourite"));
        for (const auto& [name, filter] : favourites_)
            connect(remove->addAction(name), &QAction::triggered, this, [this, key = name] { removeFavourite(key); });
    }
    menu->addSection(tr("Earlier filters"));
    for (const auto& filter : history_)
        offer(filter, filter);
}

void FilterBar::showProgress(quint32 found, quint32 examined, quint32 all, bool isDone)
{
    progress_->setVisible(!isDone);
    cancelButton_->setVisible(!isDone);
    progress_->setRange(0, 1000);
    progress_->setValue(all > 0 ? static_cast<int>(1000.0 * examined / all) : 0);
    if (state_ != State::applied && state_ != State::empty)
        return;
    const auto counted = locale().toString(found), whole = locale().toString(all);
    if (state_ == State::empty)
        say(QString(), false);
    else if (examined < all && isDone)
        say(tr("%1 frames match among the first %2 of %3; the search was stopped")
                .arg(counted, locale().toString(examined), whole),
            false);
    else
        say(isDone ? tr("%1 of %2 frames match").arg(counted, whole)
                   : tr("%1 frames match so far, %2 of %3 searched").arg(counted, locale().toString(examined), whole),
            false);
}

void FilterBar::showHelp()
{
    auto* help = new FilterHelp(this);
    help->setAttribute(Qt::WA_DeleteOnClose);
    connect(help, &FilterHelp::chosen, this, [this](const QString& name) {
        line_->insert(name);
        line_->setFocus();
    });
    help->show();
}

void FilterBar::suggest()
{
    suggestions_.setText(text().left(line_->cursorPosition()));
    const int rows = suggestions_.rowCount();
    const bool isTyped =
        rows == 1 && suggestions_.applied(0) == text().left(line_->cursorPosition()); // nothing left to complete
    auto* popup = completer_->popup();
    if (rows == 0 || isTyped) {
        popup->hide();
        return;
    }
    const int left = line_->inputMethodQuery(Qt::ImCursorRectangle).toRect().left();
    const int width = std::min(line_->width(), fontMetrics().averageCharWidth() * 70);
    completer_->complete(QRect(std::min(left, line_->width() - width), line_->height(), width, 1));
    popup->setCurrentIndex({}); // Enter applies the filter as long as no completion is chosen
}

void FilterBar::accept(int row)
{
    const auto rest = text().mid(line_->cursorPosition());
    const auto completed = suggestions_.applied(row);
    completer_->popup()->hide();
    line_->setText(completed + rest);
    line_->setCursorPosition(static_cast<int>(completed.size()));
}

bool FilterBar::handlePopupKey(int key)
{
    const auto current = completer_->popup()->currentIndex();
    switch (key) {
    case Qt::Key_Tab: accept(current.isValid() ? current.row() : 0); return true;
    case Qt::Key_Return:
    case Qt::Key_Enter:
        if (current.isValid())
            accept(current.row());
        else
            apply();
        return true;
    default: return false;
    }
}

bool FilterBar::handleLineKey(int key)
{
    if (key == Qt::Key_Escape && !applied_.isEmpty() && text().trimmed() != applied_) {
        setText(applied_);
        return true;
    }
    if (key != Qt::Key_Up && key != Qt::Key_Down)
        return false;
    const auto place = historyPlace_ + (key == Qt::Key_Up ? 1 : -1);
    if (place < -1 || place >= history_.size())
        return true;
    historyPlace_ = place;
    setText(place < 0 ? applied_ : history_[place]);
    return true;
}

bool FilterBar::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::KeyPress) {
        const int key = static_cast<QKeyEvent*>(event)->key();
        if (watched == completer_->popup())
            return handlePopupKey(key);
        if (watched == line_)
            return handleLineKey(key);
    }
    return QWidget::eventFilter(watched, event);
}

void FilterBar::dragEnterEvent(QDragEnterEvent* event)
{
    if (event->mimeData()->hasText() && DisplayFilter::compile(event->mimeData()->text().toStdString()))
        event->acceptProposedAction();
}

void FilterBar::dropEvent(QDropEvent* event)
{
    const auto modifiers = event->modifiers();
    const auto joint = modifiers & Qt::ControlModifier ? FilterFrom::Joint::or_
        : modifiers & Qt::ShiftModifier                ? FilterFrom::Joint::andNot
                                                       : FilterFrom::Joint::and_;
    take(event->mimeData()->text(), joint, Use::apply);
    event->acceptProposedAction();
}

void FilterBar::changeEvent(QEvent* event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange && line_)
        check();
}

} // namespace netrondo
