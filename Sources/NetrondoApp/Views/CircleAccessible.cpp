#include "Views/CircleAccessible.h"

#include "Views/CircleView.h"
#include "Views/Picture.h"

#include <QAccessible>
#include <QAccessibleWidget>
#include <QPointer>
#include <vector>

namespace netrondo {
namespace {

class CircleAccessible;

/// A host, a service or a conversation. It names its thing, not a place in a list, so that it stays right when another
/// picture comes.
class PartAccessible : public QAccessibleInterface, public QAccessibleActionInterface {
public:
    PartAccessible(CircleView& view, Selection& selection, Selected what)
        : view_(&view), selection_(selection), what_(std::move(what))
    { }

    const Selected& what() const { return what_; }
    bool isValid() const override { return view_ && view_->picture(); }
    QObject* object() const override { return nullptr; }
    QAccessibleInterface* parent() const override { return QAccessible::queryAccessibleInterface(view_); }
    QAccessibleInterface* child(int) const override { return nullptr; }
    QAccessibleInterface* childAt(int, int) const override { return nullptr; }
    int childCount() const override { return 0; }
    int indexOfChild(const QAccessibleInterface*) const override { return -1; }
    QAccessible::Role role() const override
    {
        return what_.kind == Selected::Kind::conversation ? QAccessible::Link : QAccessible::ListItem;
    }
    QString text(QAccessible::Text kind) const override
    {
        if (!isValid())
            return {};
        if (kind == QAccessible::Name)
            return view_->nameOf(what_);
        return kind == QAccessible::Description ? view_->describe(what_) : QString();
    }
    void setText(QAccessible::Text, const QString&) override { }
    QRect rect() const override
    {
        if (!isValid())
            return {};
        const auto& picture = *view_->picture();
        const auto square = [&](const CircleNode& node) {
            const double radius = picture.nodeRadius();
            return QRectF(picture.positionOf(node) - QPointF(radius, radius), QSizeF(2 * radius, 2 * radius)).toRect();
        };
        QRect place;
        if (const auto chord = picture.findChord(what_))
            place = square(picture.nodes()[picture.chords[*chord].from])
                        .united(square(picture.nodes()[picture.chords[*chord].to]));
        else if (const auto node = picture.findNode(what_))
            place = square(picture.nodes()[*node]);
        return {view_->mapToGlobal(place.topLeft()), place.size()};
    }
    QAccessible::State state() const override
    {
        QAccessible::State state;
        state.selectable = state.focusable = true;
        state.selected = selection_.selected() == what_;
        state.focused = state.selected && view_ && view_->hasFocus();
        return state;
    }

    void* interface_cast(QAccessible::InterfaceType type) override
    {
        return type == QAccessible::ActionInterface ? static_cast<QAccessibleActionInterface*>(this) : nullptr;
    }
    QStringList actionNames() const override { return {pressAction(), showMenuAction()}; }
    QStringList keyBindingsForAction(const QString&) const override { return {}; }
    void doAction(const QString& name) override
    {
        if (!view_)
            return;
        if (name == pressAction())
            selection_.select(what_);
        else if (name == showMenuAction())
            emit view_->menuWanted(what_, rect().center());
    }

private:
    QPointer<CircleView> view_;
    Selection& selection_;
    Selected what_;
};

class CircleAccessible : public QAccessibleWidget {
public:
    explicit CircleAccessible(CircleView* view) : QAccessibleWidget(view, QAccessible::List) { }
    ~CircleAccessible() override { forget(); }

    int childCount() const override
    {
        const auto& picture = view().picture();
        return picture ? static_cast<int>(picture->nodes().size() + picture->chords.size()) : 0;
    }
    /// Hosts first, as they lie around the ring; then the conversations.
    QAccessibleInterface* child(int index) const override
    {
        if (index < 0 || index >= childCount())
            return nullptr;
        const auto& picture = *view().picture();
        if (picture_.lock() != view().picture()) {
            forget();
            picture_ = view().picture();
            order_ = picture.walk();
            ids_.assign(static_cast<std::size_t>(childCount()), 0);
        }
        const auto at = static_cast<std::size_t>(index);
        if (!ids_[at]) {
            const auto what = at < order_.size() ? picture.whatOf(picture.nodes()[order_[at]])
                                                 : picture.chords[at - order_.size()].what;
            ids_[at] = QAccessible::registerAccessibleInterface(new PartAccessible(view(), view().selection(), what));
        }
        return QAccessible::accessibleInterface(ids_[at]);
    }
    int indexOfChild(const QAccessibleInterface* child) const override
    {
        for (std::size_t i = 0; i < ids_.size(); ++i)
            if (ids_[i] && QAccessible::accessibleInterface(ids_[i]) == child)
                return static_cast<int>(i);
        return -1;
    }
    QAccessibleInterface* childAt(int x, int y) const override
    {
        for (int i = 0; i < childCount(); ++i)
            if (auto* const part = child(i); part->role() == QAccessible::ListItem && part->rect().contains(x, y))
                return part;
        return nullptr;
    }
    QAccessibleInterface* focusChild() const override
    {
        for (int i = 0; i < childCount(); ++i)
            if (auto* const part = child(i); part->state().focused)
                return part;
        return nullptr;
    }

private:
    CircleView& view() const { return *static_cast<CircleView*>(widget()); }
    void forget() const
    {
        for (const auto id : ids_)
            if (id)
                QAccessible::deleteAccessibleInterface(id);
        ids_.clear();
    }

    mutable std::weak_ptr<const Picture> picture_; ///< that the rest is about
    mutable std::vector<std::uint32_t> order_;
    mutable std::vector<QAccessible::Id> ids_; ///< made when asked for: a picture may have 20,000 conversations
};

QAccessibleInterface* make(const QString&, QObject* object)
{
    auto* const view = qobject_cast<CircleView*>(object);
    return view ? new CircleAccessible(view) : nullptr;
}

} // namespace

void installCircleAccessibility()
{
    static const bool isInstalled = (QAccessible::installFactory(make), true);
    static_cast<void>(isInstalled);
}

} // namespace netrondo
