// Build tool: renders the application's SVG icon to a PNG of a given size, for the icon theme's folders.
#include "settings/CommandLine.h"

#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QSvgRenderer>

#include <cstdio>

using namespace kelvane;

int main(int argc, char* argv[]) {
    // Renders without a display.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    CommandLine commandLine("Renders an SVG icon to a square PNG.",
                            {{0, "written"}, {1, "unreadable or unwritable"}});
    commandLine.addPositional("SVG", "The icon.");
    commandLine.addPositional("SIZE", "Width and height in pixels.");
    commandLine.addPositional("PNG", "The file to write.");
    commandLine.process(app, 3, 3);
    const QStringList args = commandLine.positional();
    const int size = args.at(1).toInt();
    if (size < 1 || size > 4096)
        commandLine.fail("SIZE must be 1 to 4096");
    QSvgRenderer svg(args.at(0));
    if (!svg.isValid()) {
        std::fprintf(stderr, "render-icon: cannot read %s\n", qPrintable(args.at(0)));
        return 1;
    }
    QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    svg.render(&painter);
    painter.end();
    if (!image.save(args.at(2), "PNG")) {
        std::fprintf(stderr, "render-icon: cannot write %s\n", qPrintable(args.at(2)));
        return 1;
    }
    return 0;
}
