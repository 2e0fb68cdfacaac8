// Asks which frames are to be written, decoded, and how.
#pragma once

#include "Dissection/Decode/FrameWriter.h"

#include <QDialog>

class QButtonGroup;

namespace netrondo {

class FrameExportDialog : public QDialog {
    Q_OBJECT
public:
    enum class Extent { shown, chosen, marked };

    FrameExportDialog(int shown, int chosen, bool hasMarked, QWidget* parent = nullptr);

    Extent extent() const;
    FrameWriter::Form form() const;

private:
    QButtonGroup *extent_, *form_;
};

} // namespace netrondo
