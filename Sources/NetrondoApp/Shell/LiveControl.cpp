#include "Shell/LiveControl.h"

#include "Base/Units.h"
#include "Capture/CaptureWriter.h"
#include "Capture/JoinedCapture.h"
#include "Dissection/Filter/DisplayFilter.h"
#include "Models/Text.h"
#include "Shell/CaptureDialog.h"
#include "Shell/ReceiveDialog.h"
#include "Tasks/Background.h"
#include "Tasks/CaptureSession.h"
#include "Tasks/SaveFrames.h"
#include "Views/MessageBar.h"
#include "Wireshark/CaptureFilterBuilder.h"
#include "Wireshark/SelectionFilter.h"

#include <QAbstractButton>
#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QDateTime>
#include <QFileDialog>
#include <QFileInfo>
#include <QLocale>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>

namespace netrondo {
namespace {

TrafficSelection trafficOf(const Selected& what)
{
    TrafficSelection traffic;
    const auto a = Address::parse(what.a), b = Address::parse(what.b);
    if (what.kind == Selected::Kind::host && a)
        traffic.hosts.push_back(*a);
    if (what.kind == Selected::Kind::conversation && a && b)
        traffic.conversations.emplace_back(*a, *b);
    return traffic;
}

std::shared_ptr<const DisplayFilter> filterFor(const Selected& what)
{
    const auto traffic = trafficOf(what);
    if (traffic.isEmpty())
        return nullptr;
    auto filter = DisplayFilter::compile(displayFilterFor(traffic));
    return filter ? std::make_shared<const DisplayFilter>(std::move(*filter)) : nullptr;
}
} // namespace

LiveControl::LiveControl(const Surroundings& surroundings)
    : QObject(&surroundings.window)
    , around_(surroundings)
    , bar_(new LiveBar(live_))
    , capture_(action(tr("&Capture on interfaces…"), QKeySequence(Qt::CTRL | Qt::Key_K), "capture",
                      [this] { askWhatToCapture(); }))
    , receive_(action(tr("&Receive from another machine…"), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_K), "receive",
                      [this] { askWhereToReceive(); }))
    , stop_(action(tr("&Stop"), QKeySequence(Qt::CTRL | Qt::Key_E), "stopCapture", [this] { live_.stop(); }))
    , restart_(action(tr("R&estart"), QKeySequence(Qt::CTRL | Qt::Key_R), "restartCapture",
                      [this] {
                          whenNothingIsLost([this] {
                              isGivenUp_ = false;
                              live_.restart();
                          });
                      }))
    , saveRecording_(action(tr("Save…"), {}, "saveRecording", [this] { chooseTarget(Extent::everything); }))
    , save_(action(tr("&Save the frames…"), QKeySequence::Save, "saveFrames",
                   [this] { chooseTarget(Extent::everything); }))
    , saveShown_(action(tr("Save the frames that are sho&wn…"), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_S),
                        "saveShown", [this] { chooseTarget(Extent::shown); }))
{
    saveShown_->setToolTip(tr("What the filter, the span of time and what is seen alone leave"));
    for (auto* const shown : {stop_, restart_})
        bar_->addButton(shown);
    bar_->addButton(saveRecording_);

    connect(&live_, &LiveSession::moved, this, &LiveControl::refresh);
    connect(&live_, &LiveSession::began, this, [this] { around_.session.follow(live_.path()); });
    connect(&live_, &LiveSession::ended, this, &LiveControl::takeEnd);
    connect(&around_.session, &CaptureSession::opened, this, [this] {
        const auto& facts = around_.session.facts();
        if (facts.path == std::exchange(recovering_, {}))
            isGivenUp_ = !live_.recover(facts.path, facts.frames) && isGivenUp_;
        // What is not shown any more is not kept either: the user has been asked.
        if (facts.path == live_.path())
            live_.forgetPrevious();
        else
            live_.drop();
    });
    connect(&around_.session, &CaptureSession::closed, &live_, &LiveSession::drop);
    connect(&around_.session, &CaptureSession::followingChanged, this, [this] {
        if (!around_.session.isFollowing() && around_.session.isOpen() && around_.session.facts().path == live_.path())
            live_.stop();
    });
    refresh();
}

QAction* LiveControl::action(const QString& text, const QKeySequence& keys, const char* name,
                             const std::function<void()>& does)
{
    auto* const action = new QAction(text, this);
    action->setObjectName(QLatin1String(name));
    action->setShortcut(keys);
    connect(action, &QAction::triggered, this, does);
    return action;
}

void LiveControl::buildMenu(QMenuBar& bar)
{
    auto* const menu = bar.addMenu(tr("&Capture"));
    menu->addActions({capture_, receive_});
    menu->addSeparator();
    menu->addActions({stop_, restart_});
}

void LiveControl::addTo(QMenu& menu, const Selected& what)
{
    const auto filter = CaptureFilterBuilder().selection(trafficOf(what)).expression();
    if (filter.empty())
        return;
    menu.addAction(tr("Capture its frames…"), this, [this, filter] { askWhatToCapture(asQt(filter)); });
    menu.addAction(tr("Copy as a capture filter"), this,
                   [filter] { QApplication::clipboard()->setText(asQt(filter)); });
}

void LiveControl::refresh()
{
    stop_->setEnabled(live_.isRunning());
    restart_->setEnabled(live_.isThere() && !live_.isRecovered());
    saveRecording_->setEnabled(live_.hasBegun());
}

void LiveControl::askWhatToCapture(const QString& filter)
{
    if (!captureDialog_) {
        captureDialog_ = new CaptureDialog(around_.settings, &around_.window);
        connect(captureDialog_, &QDialog::accepted, this,
                [this] { whenNothingIsLost([this, wanted = captureDialog_->wanted()] { capture(wanted); }); });
    }
    if (!filter.isEmpty())
        captureDialog_->setFilter(filter);
    captureDialog_->open();
}

void LiveControl::askWhereToReceive()
{
    if (!receiveDialog_) {
        receiveDialog_ = new ReceiveDialog(around_.settings, &around_.window);
        connect(receiveDialog_, &QDialog::accepted, this, [this] {
            if (const auto wanted = receiveDialog_->wanted())
                whenNothingIsLost([this, options = *wanted] { receive(options); });
        });
    }
    receiveDialog_->open();
}

void LiveControl::capture(const std::vector<LiveCapture::Options>& interfaces)
{
    QStringList names;
    for (const auto& options : interfaces)
        names << asQt(options.interface);
    const auto name = names.join(QStringLiteral(", "));
    const auto filter = interfaces.empty() ? QString() : asQt(interfaces.front().filter);
    start({filter.isEmpty() ? tr("Capture on %1").arg(name) : tr("Capture on %1 (%2)").arg(name, filter), name,
           [interfaces]() -> CaptureResult<std::shared_ptr<LiveSource>> {
               NR_TRY(auto source, JoinedCapture::start(interfaces));
               return source;
           }});
}

void LiveControl::receive(const PcapOverIp::Options& options)
{
    const auto name = asQt(options.server.text());
    start({tr("Capture from %1").arg(name), name, [options]() -> CaptureResult<std::shared_ptr<LiveSource>> {
               return std::make_shared<PcapOverIp>(options);
           }});
}

void LiveControl::start(const LiveSession::Wish& wish)
{
    isGivenUp_ = false;
    around_.messages.hide();
    live_.start(wish);
}

void LiveControl::takeEnd()
{
    if (around_.session.isFollowing() && around_.session.readingPath() == live_.path())
        around_.session.stopFollowing();
    if (!live_.trouble().isEmpty())
        around_.messages.say(MessageBar::Kind::error, live_.trouble());
    if (afterEnd_)
        std::exchange(afterEnd_, {})();
}

QString LiveControl::titleOf(const QString& path) const
{
    return live_.owns(path) ? live_.wish().title : QString();
}

bool LiveControl::wouldLoseFrames() const
{
    return !isGivenUp_ && (live_.isUnsaved() || (live_.isRunning() && live_.hasBegun()));
}

void LiveControl::whenNothingIsLost(const std::function<void()>& then)
{
    if (!wouldLoseFrames())
        return then();
    auto* const box =
        new QMessageBox(QMessageBox::Question, tr("Netrondo"),
                        tr("%1: %2 are saved nowhere yet.")
                            .arg(live_.wish().title, asQt(units::counted(live_.status().frames, "frame", "frames"))),
                        QMessageBox::Save | QMessageBox::Discard | QMessageBox::Cancel, &around_.window);
    box->setObjectName(QStringLiteral("unsaved"));
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setInformativeText(live_.isRunning() ? tr("The capture ends, either way but Cancel.") : QString());
    box->setDefaultButton(QMessageBox::Save);
    connect(box, &QMessageBox::buttonClicked, this, [this, box, then](QAbstractButton* button) {
        switch (box->standardButton(button)) {
        case QMessageBox::Save: return saveRecordingThen(then);
        case QMessageBox::Discard:
            isGivenUp_ = true;
            live_.stop();
            return then();
        default: break;
        }
    });
    box->open();
}

void LiveControl::offerAbandoned()
{
    inBackground(this, TemporaryCapture::findAbandoned, [this](const auto& abandoned) {
        if (abandoned)
            askAbout(*abandoned);
    });
}

void LiveControl::askAbout(const TemporaryCapture::Abandoned& abandoned)
{
    const auto path = asQt(abandoned.path.string());
    const auto time = QLocale().toString(QDateTime::fromSecsSinceEpoch(abandoned.changed), QLocale::ShortFormat);
    auto* const box = new QMessageBox(QMessageBox::Question, tr("Netrondo"),
                                      tr("A capture was not saved when Netrondo was ended: %1, until %2.")
                                          .arg(asQt(units::bytes(abandoned.bytes)), time),
                                      QMessageBox::Open | QMessageBox::Discard | QMessageBox::Cancel, &around_.window);
    box->setObjectName(QStringLiteral("abandoned"));
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setInformativeText(tr("It is still there, in %1. Cancel leaves it there until the next start.").arg(path));
    box->setDefaultButton(QMessageBox::Open);
    connect(box, &QMessageBox::buttonClicked, this, [this, box, path](QAbstractButton* button) {
        switch (box->standardButton(button)) {
        case QMessageBox::Open:
            return whenNothingIsLost([this, path] {
                recovering_ = path;
                around_.session.open(path);
            });
        case QMessageBox::Discard:
            TemporaryCapture::adopt(path.toStdString()); // and lets it go
            return offerAbandoned();
        default: break;
        }
    });
    box->open();
}

/// Ends the recording and asks where to keep it.
void LiveControl::saveRecordingThen(const std::function<void()>& then)
{
    if (!live_.isRunning())
        return chooseTarget(Extent::everything, then);
    afterEnd_ = [this, then] { chooseTarget(Extent::everything, then); };
    live_.stop();
}

void LiveControl::chooseTarget(Extent extent, const std::function<void()>& then)
{
    const auto& path = around_.session.facts().path;
    const auto base = live_.owns(path) ? live_.wish().name : QFileInfo(path).completeBaseName();
    const auto target = QFileDialog::getSaveFileName(&around_.window, tr("Save the frames"),
                                                     QString(base).replace(QLatin1Char('/'), QLatin1Char('-'))
                                                         + QStringLiteral(".pcapng"),
                                                     tr("Captures (*.pcapng *.pcap)"));
    if (!target.isEmpty())
        save(target, extent, then);
}

void LiveControl::save(const QString& target, Extent extent, const std::function<void()>& then)
{
    auto& session = around_.session;
    if (!CaptureWriter::formatFor(target.toStdString())) {
        around_.messages.say(MessageBar::Kind::error,
                             tr("%1: compressed captures are not written: a name that ends in .pcapng or .pcap says "
                                "what to write.")
                                 .arg(target));
        return emit saved();
    }
    SaveWish wish{session.facts().path, target, {}, {}, {}, around_.notes()};
    if (extent == Extent::shown) {
        wish.span = session.span();
        wish.filter = session.filter();
        wish.focus = filterFor(around_.selection.focused());
    }
    const bool isRecording = extent == Extent::everything && wish.source == live_.path();
    const bool losesNotes =
        !wish.notes.isEmpty() && CaptureWriter::formatFor(target.toStdString()) == CaptureFormat::pcap;
    inBackground(
        this, [wish] { return saveFrames(wish); },
        [this, target, isRecording, losesNotes, then](const Saved& result) {
            if (!result.trouble.isEmpty()) {
                around_.messages.say(MessageBar::Kind::error, tr("%1. The frames were not saved.").arg(result.trouble));
            } else {
                if (isRecording)
                    live_.setSaved(result.frames);
                const auto said = tr("%1 in %2.").arg(asQt(units::counted(result.frames, "frame", "frames")), target);
                around_.messages.say(MessageBar::Kind::note,
                                     losesNotes ? said + tr(" Without the notes: only pcapng has room for them.")
                                                : said);
            }
            emit saved();
            if (result.trouble.isEmpty() && then)
                then();
        });
}

} // namespace netrondo
