// Checks Vantor's artwork when the resources are made: every SVG must render, and the
// colour table must give a light and a dark value for every colour.
//   vantor-check-artwork --colors COLORS.json FILE.svg...
#include <QColor>
#include <QFile>
#include <QGuiApplication>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSvgRenderer>

#include <cstdio>

namespace {

bool complain(const QString& file, const char* why)
{
    std::fprintf(stderr, "%s: %s\n", qPrintable(file), why);
    return false;
}

bool checkSvg(const QString& path)
{
    const QSvgRenderer renderer(path);
    if (!renderer.isValid())
        return complain(path, "not a readable SVG drawing");
    if (renderer.defaultSize().isEmpty())
        return complain(path, "has no size");
    return true;
}

bool checkColors(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return complain(path, "cannot be read");
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll(), &error);
    if (error.error != QJsonParseError::NoError || !document.isObject() || document.object().isEmpty())
        return complain(path, "is not a table of colours");
    const QJsonObject table = document.object();
    for (auto it = table.begin(); it != table.end(); ++it) {
        const QJsonObject pair = it.value().toObject();
        for (const char* scheme : {"light", "dark"}) {
            if (!QColor::fromString(pair.value(QLatin1String(scheme)).toString()).isValid()) {
                std::fprintf(stderr, "%s: colour %s has no valid %s value\n", qPrintable(path),
                    qPrintable(it.key()), scheme);
                return false;
            }
        }
    }
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    QGuiApplication app(argc, argv);
    QStringList arguments = QGuiApplication::arguments().mid(1);
    bool ok = true;
    if (arguments.size() >= 2 && arguments.first() == QLatin1String("--colors")) {
        ok = checkColors(arguments.at(1));
        arguments = arguments.mid(2);
    }
    for (const QString& svg : arguments)
        ok = checkSvg(svg) && ok;
    return ok ? 0 : 1;
}
