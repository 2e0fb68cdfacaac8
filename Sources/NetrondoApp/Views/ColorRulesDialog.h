// Where the colours of the packet list are made: names, filters, hues, and which comes first.
#pragma once

#include "Models/FrameColorRules.h"

#include <QDialog>

class QDialogButtonBox;
class QLabel;
class QPushButton;
class QTableWidget;

namespace netrondo {

class ColorRulesDialog : public QDialog {
    Q_OBJECT
public:
    explicit ColorRulesDialog(const FrameColorRules& rules, QWidget* parent = nullptr);

    /// What the table says now, in its order.
    std::vector<FrameColorRule> rules() const;

private:
    void show(const std::vector<FrameColorRule>& rules);
    void insert(int row, const FrameColorRule& rule);
    void add();
    void remove();
    void move(int by);
    void chooseColor();
    void setColor(int row, const QColor& color);
    /// Says what is wrong with the first filter that does not compile; such rules are not taken.
    void check();

    QTableWidget* table_;
    QLabel* message_;
    QPushButton *remove_, *up_, *down_, *color_;
    QDialogButtonBox* buttons_;
};

} // namespace netrondo
