// What the user points at: one thing for the picture, the tables, the details and the frames.
#pragma once

#include <QObject>
#include <string>
#include <vector>

namespace netrondo {

struct Selected {
    enum class Kind { nothing, host, conversation, service };
    Kind kind = Kind::nothing;
    std::string a; ///< a host's address, a service's name, or one end of a conversation
    std::string b; ///< the other end

    static Selected host(std::string address) { return {Kind::host, std::move(address), {}}; }
    static Selected service(std::string name) { return {Kind::service, std::move(name), {}}; }
    /// The same whichever end is named first.
    static Selected conversation(std::string a, std::string b)
    {
        if (b < a)
            std::swap(a, b);
        return {Kind::conversation, std::move(a), std::move(b)};
    }
    explicit operator bool() const { return kind != Kind::nothing; }
    friend bool operator==(const Selected&, const Selected&) = default;
};

/// What is selected, and what the window is narrowed to. Both change together with one signal, and every step can be
/// taken back.
class Selection : public QObject {
    Q_OBJECT
public:
    struct State {
        Selected selected, focused;
        friend bool operator==(const State&, const State&) = default;
    };

    using QObject::QObject;
    const Selected& selected() const { return state_.selected; }
    const Selected& focused() const { return state_.focused; }

    void select(const Selected& what) { move({what, state_.focused}); }
    void focus(const Selected& what) { move({what, what}); }
    /// One step out: the focus first, then the selection. False when there was nothing to leave.
    bool leave();
    void clear();

    bool canGoBack() const { return at_ > 0; }
    bool canGoForward() const { return at_ + 1 < history_.size(); }
    void back();
    void forward();

signals:
    void changed();

private:
    void move(State state);

    State state_;
    std::vector<State> history_{State{}};
    std::size_t at_ = 0; ///< in the history
};

} // namespace netrondo
