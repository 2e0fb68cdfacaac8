// The text grows a little in each turn of the events, so that a long one holds nothing up.
#include "Views/FollowDialog.h"

#include "Base/Units.h"
#include "Dissection/Decode/FrameText.h"
#include "Models/Text.h"

#include <QBoxLayout>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFontDatabase>
#include <QLabel>
#include <QLocale>
#include <QPlainTextEdit>
#include <QScreen>

namespace netrondo {
namespace {
constexpr std::size_t mostBytes = 4'000'000, mostPieces = 100'000;
constexpr std::size_t bytesAtOnce = 8'000, pieceCosts = 200; ///< as much as so many bytes

QString textOf(const std::vector<std::uint8_t>& bytes)
{
    QString text;
    for (const auto byte : bytes)
        if (byte != '\r')
            text += QLatin1Char(byte == '\n' || byte == '\t' ? static_cast<char>(byte) : FrameText::character(byte));
    return text;
}
} // namespace

FollowDialog::FollowDialog(const FrameStore& store, const FrameSummary& frame, QWidget* parent)
    : QDialog(parent), task_(store, frame), path_(store.path()), frames_(store.count())
{
    const auto end = [](const Address& address, std::uint16_t port) {
        return QStringLiteral("%1 port %2").arg(asQt(address.text())).arg(port);
    };
    setWindowTitle(tr("What %1 and %2 said")
                       .arg(end(frame.source, frame.sourcePort), end(frame.destination, frame.destinationPort)));
    resize(QSize(900, 700).boundedTo(screen()->availableSize() * 9 / 10));
    form_ = new QComboBox;
    form_->addItems({tr("Text"), tr("Hex dump")});
    form_->setAccessibleName(tr("How bytes are shown"));
    connect(form_, &QComboBox::currentIndexChanged, this, &FollowDialog::showAnew);
    text_ = new QPlainTextEdit;
    text_->setReadOnly(true);
    text_->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    text_->setAccessibleName(tr("What was said"));
    text_->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    status_ = new QLabel;
    status_->setTextFormat(Qt::PlainText);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    auto* below = new QHBoxLayout;
    below->addWidget(form_);
    below->addWidget(status_, 1);
    below->addWidget(buttons);
    auto* column = new QVBoxLayout(this);
    column->addWidget(text_, 1);
    column->addLayout(below);
    text_->setFocus();

    connect(&task_, &FollowTask::failed, this,
            [this](const QString& sentence) { trouble_ = QStringLiteral("%1: %2").arg(path_, sentence); });
    connect(&task_, &FollowTask::advanced, this, [this](quint32 examined) {
        examined_ = examined;
        takePieces();
    });
    connect(&task_, &FollowTask::completed, this, &FollowDialog::say);
    connect(&filling_, &QTimer::timeout, this, &FollowDialog::showSome);
    say();
}

QString FollowDialog::text() const
{
    return text_->toPlainText();
}

void FollowDialog::setForm(Form form)
{
    form_->setCurrentIndex(static_cast<int>(form));
}

void FollowDialog::takePieces()
{
    for (auto& piece : task_.take()) {
        bytes_[piece.isAnswer] += piece.bytes.size();
        isFull_ = isFull_ || bytes_[0] + bytes_[1] > mostBytes || pieces_.size() == mostPieces;
        if (!isFull_)
            pieces_.push_back(std::move(piece));
    }
    if (shown_ < pieces_.size() && !filling_.isActive())
        filling_.start(0);
    say();
}

void FollowDialog::say()
{
    const auto bytes = [](std::size_t count) { return asQt(units::bytes(count)); };
    auto said = tr("%1 there, %2 back").arg(bytes(bytes_[0]), bytes(bytes_[1]));
    if (isFull_)
        said += tr("; the first of it is shown");
    if (!trouble_.isEmpty())
        said = trouble_;
    else if (!task_.isComplete() && frames_ > 0)
        said += tr(", %1 % read").arg(quint64{examined_} * 100 / frames_);
    else if (bytes_[0] + bytes_[1] == 0)
        said = tr("Nothing was said: the frames carry no bytes of TCP or UDP");
    status_->setText(said);
}

void FollowDialog::showAnew()
{
    text_->clear();
    speaker_.reset();
    shown_ = 0;
    filling_.start(0);
}

void FollowDialog::showSome()
{
    for (std::size_t bytes = 0; bytes < bytesAtOnce && shown_ < pieces_.size(); ++shown_) {
        append(pieces_[shown_]);
        bytes += pieces_[shown_].bytes.size() + pieceCosts;
    }
    if (shown_ == pieces_.size())
        filling_.stop();
}

/// Who speaks stands in words at every turn, whatever the colours are.
void FollowDialog::append(const StreamFollower::Piece& piece)
{
    auto cursor = text_->textCursor();
    cursor.movePosition(QTextCursor::End);
    const bool isHex = form_->currentIndex() == static_cast<int>(Form::hexDump);
    const auto plain = text_->currentCharFormat();
    auto heading = plain;
    heading.setFontWeight(QFont::Bold);
    auto words = plain;
    if (piece.isAnswer)
        words.setBackground(palette().alternateBase());
    if (speaker_ != piece.isAnswer || piece.missing > 0 || isHex) {
        if (speaker_)
            cursor.insertText(QStringLiteral("\n"), plain);
        cursor.insertText(piece.isAnswer ? tr("◀ frame %1, back\n").arg(piece.frame)
                                         : tr("▶ frame %1, there\n").arg(piece.frame),
                          heading);
    }
    speaker_ = piece.isAnswer;
    if (piece.missing > 0)
        cursor.insertText(tr("[%1 bytes are missing in the capture]\n").arg(locale().toString(piece.missing)), heading);
    if (!isHex)
        return cursor.insertText(textOf(piece.bytes), words);
    TextSink dump;
    FrameText::hexDump(piece.bytes, dump);
    cursor.insertText(asQt(dump.text()), words);
}

} // namespace netrondo
