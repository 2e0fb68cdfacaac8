// The names that display filters know, to look through and to pick from.
#pragma once

#include <QDialog>

class QLineEdit;
class QTreeWidget;

namespace netrondo {

class FilterHelp : public QDialog {
    Q_OBJECT
public:
    explicit FilterHelp(QWidget* parent = nullptr);

signals:
    /// The name is to be put into the filter.
    void chosen(const QString& name);

private:
    void narrow(const QString& words);

    QLineEdit* search_;
    QTreeWidget* names_;
};

} // namespace netrondo
