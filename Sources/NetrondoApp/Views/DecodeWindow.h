// The decode view as a window of its own, with a filter line above and what there is to say below.
#pragma once

#include "Tasks/FrameStore.h"

#include <QMainWindow>
#include <memory>

namespace netrondo {

class DecodeView;
class FilterBar;

class DecodeWindow : public QMainWindow {
    Q_OBJECT
public:
    explicit DecodeWindow(QWidget* parent = nullptr);
    ~DecodeWindow() override;

    /// Shows the frames of a store, which other windows may show as well.
    void setStore(std::shared_ptr<FrameStore> store);
    void open(const QString& path, FrameStore::Reading reading = FrameStore::Reading::once);

    DecodeView* view() const { return view_; }
    FilterBar* filterBar() const { return filterBar_; }

private:
    FilterBar* filterBar_;
    DecodeView* view_;
};

} // namespace netrondo
