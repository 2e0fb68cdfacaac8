// The circle, or the services view: pointing, selecting, focusing, zooming, walking by keyboard.
#pragma once

#include "Models/Selection.h"

#include <QImage>
#include <QPointF>
#include <QTimer>
#include <QVariantAnimation>
#include <QWidget>
#include <map>
#include <memory>
#include <optional>
#include <string>

namespace netrondo {

struct Picture;
struct PictureRequest;

class CircleView : public QWidget {
    Q_OBJECT
public:
    using Places = std::map<std::string, double, std::less<>>; ///< angles by address, as the layout takes them

    explicit CircleView(Selection& selection, QWidget* parent = nullptr);
    ~CircleView() override;

    /// Shows these conversations and options; size, zoom and the places of hosts are the view's own. The picture is
    /// drawn in the background: `pictureChanged` tells when it is there.
    void show(PictureRequest request);
    /// Forgets the places of hosts and the zoom: another capture comes.
    void forgetPlaces();
    /// Hosts take these places, at once.
    void seat(const Places& angles);
    /// Moves the hosts to these angles, in a short animation where the desktop wants those.
    void moveTo(Places angles);
    const Places& angles() const { return *angles_; }

    /// Lights only the conversations that were going on at this time; all again for none.
    void setMoment(std::optional<double> seconds);

    /// What is shown; null before the first.
    const std::shared_ptr<const Picture>& picture() const { return picture_; }
    /// True while a picture is being drawn or lit, or hosts are on their way to other places.
    bool isBusy() const { return isDrawing_ || isLighting_ || moving_.state() == QAbstractAnimation::Running; }
    Selected hovered() const { return hovered_; }
    Selection& selection() const { return selection_; }
    double zoom() const { return zoom_; }
    void zoomBy(double factor, const QPointF& around);
    void resetZoom();
    /// The names of hosts and conversations for whoever does not see the picture.
    QString nameOf(const Selected& what) const;
    QString describe(const Selected& what) const;
    /// What stands where there is nothing to draw.
    void setEmptyText(const QString& text);
    QString emptyText() const { return emptyText_; }

    QSize sizeHint() const override { return {800, 700}; }
    QSize minimumSizeHint() const override { return {200, 200}; }

signals:
    void pictureChanged();
    void hoveredChanged();
    /// A badge was clicked.
    void findingsWanted(const Selected& what);
    void menuWanted(const Selected& what, const QPoint& globalPosition);

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    bool event(QEvent* event) override;

private:
    Selected at(const QPointF& point) const;
    QString describeTraffic(const Selected& what) const;
    void refresh();
    void startDrawing();
    void hover(const Selected& what);
    void light();
    void click(const Selected& what);
    void walkHosts(int step);
    void walkChords(int step);
    void tellSelection();

    Selection& selection_;
    std::unique_ptr<PictureRequest> wanted_;
    std::shared_ptr<const Picture> picture_;
    std::shared_ptr<const Places> angles_; ///< shared with the pictures
    double zoom_ = 1;
    QPointF shift_;
    bool isDrawing_ = false;
    bool isStale_ = false; ///< something changed while a picture was being drawn
    Selected hovered_;
    std::optional<double> moment_;
    QImage frame_;              ///< the picture with something lit; null when nothing is
    quint64 lightNumber_ = 0;   ///< of the latest wish for something lit
    bool isLighting_ = false;   ///< so much that it is drawn in the background
    bool isLightStale_ = false; ///< something else is to be lit since
    std::optional<QPointF> pressed_;
    QPointF shiftWhenPressed_;
    bool isPanning_ = false;
    QVariantAnimation moving_;
    QString emptyText_;
};

} // namespace netrondo
