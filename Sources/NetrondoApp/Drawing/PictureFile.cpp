// A scene as a file: PNG, SVG or PDF.
#include "Drawing/PictureFile.h"

#include "Drawing/ScenePainter.h"

#include <QBuffer>
#include <QFile>
#include <QImage>
#include <QPageSize>
#include <QPainter>
#include <QPdfWriter>
#include <QSaveFile>
#include <QSvgGenerator>
#include <filesystem>
#include <unistd.h>

namespace netrondo {
namespace {

QSize pixels(const CircleScene& scene)
{
    return {static_cast<int>(scene.size.width), static_cast<int>(scene.size.height)};
}

bool writePng(const CircleScene& scene, QBuffer& out)
{
    QImage image(pixels(scene), QImage::Format_RGB32);
    if (image.isNull())
        return false;
    image.setDotsPerMeterX(3780); // 96 an inch, as on the screen that the sizes of letters are meant for
    image.setDotsPerMeterY(3780);
    QPainter painter(&image);
    play(scene, painter);
    return painter.end() && image.save(&out, "PNG");
}

bool writeSvg(const CircleScene& scene, const QString& title, QBuffer& out)
{
    QSvgGenerator generator;
    generator.setOutputDevice(&out);
    generator.setResolution(96);
    generator.setSize(pixels(scene));
    generator.setViewBox(QRect(QPoint(0, 0), pixels(scene)));
    generator.setTitle(title);
    generator.setDescription(QStringLiteral("Hosts and their conversations, drawn by Netrondo"));
    QPainter painter;
    if (!painter.begin(&generator))
        return false;
    play(scene, painter);
    return painter.end();
}

bool writePdf(const CircleScene& scene, const QString& title, QBuffer& out)
{
    QPdfWriter writer(&out);
    writer.setResolution(96);
    writer.setTitle(title);
    writer.setCreator(QStringLiteral("Netrondo"));
    const QSizeF points(scene.size.width * 72 / 96, scene.size.height * 72 / 96);
    writer.setPageSize(QPageSize(points, QPageSize::Point, {}, QPageSize::ExactMatch));
    writer.setPageMargins(QMarginsF());
    QPainter painter;
    if (!painter.begin(&writer))
        return false;
    play(scene, painter);
    return painter.end();
}

} // namespace

Result<QByteArray, PictureError> encode(const CircleScene& scene, PictureFormat format, const std::string& title)
{
    QByteArray bytes;
    QBuffer out(&bytes);
    out.open(QIODevice::WriteOnly);
    const auto name = QString::fromStdString(title);
    const bool done = format == PictureFormat::png ? writePng(scene, out)
        : format == PictureFormat::svg             ? writeSvg(scene, name, out)
                                                   : writePdf(scene, name, out);
    if (!done)
        return std::unexpected(
            PictureError{"The picture could not be drawn: it is too large for this machine’s memory."});
    return bytes;
}

Result<void, PictureError> save(const QByteArray& bytes, const std::string& path)
{
    const auto write = [&](QIODevice& file) {
        // A disk takes what it has room for; only the next attempt is told why it takes no more.
        for (qint64 done = 0; done < bytes.size();) {
            const auto taken = file.write(bytes.constData() + done, bytes.size() - done);
            if (taken <= 0)
                return false;
            done += taken;
        }
        return true;
    };
    const auto name = QString::fromStdString(path);
    std::error_code ignored;
    const auto kind = std::filesystem::status(path, ignored).type();
    using enum std::filesystem::file_type;
    if (path == "-" || kind == character || kind == fifo || kind == block || kind == socket) {
        // A device or a pipe cannot be replaced by a new file; without a buffer each failed write shows at once.
        QFile out(name);
        constexpr auto mode = QIODevice::WriteOnly | QIODevice::Unbuffered;
        if (!(path == "-" ? out.open(STDOUT_FILENO, mode) : out.open(mode)) || !write(out))
            return std::unexpected(PictureError{out.errorString().toStdString()});
        return {};
    }
    QSaveFile file(name);
    if (!file.open(QIODevice::WriteOnly) || !write(file) || !file.flush() || !file.commit())
        return std::unexpected(PictureError{file.errorString().toStdString()});
    return {};
}

} // namespace netrondo
