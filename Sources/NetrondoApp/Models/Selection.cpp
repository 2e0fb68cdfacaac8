#include "Models/Selection.h"

namespace netrondo {

void Selection::move(State state)
{
    if (state == state_)
        return;
    constexpr std::size_t mostSteps = 200;
    state_ = std::move(state);
    history_.resize(at_ + 1);
    history_.push_back(state_);
    if (history_.size() > mostSteps)
        history_.erase(history_.begin());
    at_ = history_.size() - 1;
    emit changed();
}

bool Selection::leave()
{
    if (state_.focused)
        move({state_.selected, {}});
    else if (state_.selected)
        move({});
    else
        return false;
    return true;
}

void Selection::clear()
{
    const bool differs = state_ != State{};
    state_ = {};
    history_ = {State{}};
    at_ = 0;
    if (differs)
        emit changed();
}

void Selection::back()
{
    if (!canGoBack())
        return;
    state_ = history_[--at_];
    emit changed();
}

void Selection::forward()
{
    if (!canGoForward())
        return;
    state_ = history_[++at_];
    emit changed();
}

} // namespace netrondo
