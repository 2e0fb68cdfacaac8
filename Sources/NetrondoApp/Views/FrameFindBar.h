// Where one says what to look for in the packet list.
#pragma once

#include "Base/Result.h"
#include "Dissection/Filter/FrameSearch.h"
#include "Tasks/FrameFindTask.h"

#include <QWidget>

class QComboBox;
class QLabel;
class QLineEdit;

namespace netrondo {

class FrameFindBar : public QWidget {
    Q_OBJECT
public:
    enum class Kind { text, bytes, filter };

    explicit FrameFindBar(QWidget* parent = nullptr);

    void setKind(Kind kind);
    void setText(const QString& text);
    QString message() const;
    /// What is looked for, or the sentence that says why nothing can be.
    Result<FrameSearch, QString> search() const;
    /// Comes up with the text ready to be typed over.
    void begin();
    void say(const QString& sentence);

signals:
    void wanted(netrondo::FrameFindTask::Direction direction);
    void closed();

protected:
    void keyPressEvent(QKeyEvent* event) override;

private:
    QComboBox* kind_;
    QLineEdit* line_;
    QLabel* message_;
};

} // namespace netrondo
