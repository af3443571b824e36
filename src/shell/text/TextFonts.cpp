#include "shell/text/TextFonts.h"

#include <QFontDatabase>
#include <QFontInfo>
#include <algorithm>
#include <map>

#include "objects/TextBoxRules.h"

namespace velumen::textfonts {

namespace {

QString squeezed(QString text) {
    text.remove(' ');
    return text;
}

bool isRegularStyle(const QString& style) {
    return style == "Regular" || style == "Book" || style == "Roman" || style == "Normal";
}

// Every face of the machine by its name; built once.
const std::map<std::string, Face>& faceMap() {
    static const std::map<std::string, Face> map = [] {
        std::map<std::string, Face> faces;
        for (const QString& family : QFontDatabase::families()) {
            for (const QString& style : QFontDatabase::styles(family))
                faces.emplace(fontNameForFace(family, style), Face{family, style});
        }
        return faces;
    }();
    return map;
}

}  // namespace

std::string fontNameForFace(const QString& family, const QString& style) {
    QString name = squeezed(family);
    if (!isRegularStyle(style) && !style.isEmpty()) name += "-" + squeezed(style);
    return name.toStdString();
}

Face faceForFontName(const std::string& fontName) {
    const auto& map = faceMap();
    if (auto it = map.find(fontName); it != map.end()) return it->second;
    const QString name = QString::fromStdString(fontName);
    const qsizetype dash = name.indexOf('-');
    if (dash < 0) return {name, {}};
    return {name.left(dash), name.mid(dash + 1)};
}

std::string fontNameForFamily(const QString& family) {
    const QStringList styles = QFontDatabase::styles(family);
    for (const QString& style : styles)
        if (isRegularStyle(style)) return fontNameForFace(family, style);
    return fontNameForFace(family, styles.isEmpty() ? QString() : styles.front());
}

std::vector<std::string> fontNamesOfFamily(const QString& family) {
    std::vector<std::string> names;
    for (const QString& style : QFontDatabase::styles(family))
        names.push_back(fontNameForFace(family, style));
    std::sort(names.begin(), names.end());
    return names;
}

QString familyForFontName(const std::string& fontName) {
    return faceForFontName(fontName).family;
}

QString styleDisplayNameForFontName(const std::string& fontName) {
    const auto dash = fontName.find('-');
    if (dash == std::string::npos || dash + 1 == fontName.size()) return "Regular";
    return QString::fromStdString(fontName.substr(dash + 1));
}

const QStringList& commonFamilies() {
    static const QStringList families = [] {
        QStringList present;
        for (const char* family : {"DejaVu Sans", "DejaVu Serif", "DejaVu Sans Mono", "Liberation Sans",
                                   "Liberation Serif", "Liberation Mono"})
            if (QFontDatabase::hasFamily(family)) present << family;
        return present;
    }();
    return families;
}

const QStringList& allFamilies() {
    static const QStringList families = [] {
        QStringList all = QFontDatabase::families();
        all.removeIf([](const QString& family) { return QFontDatabase::isPrivateFamily(family); });
        all.sort();
        return all;
    }();
    return families;
}

QString defaultFamily() {
    return QFontDatabase::systemFont(QFontDatabase::GeneralFont).family();
}

const std::vector<std::string>& fontRing() {
    static const std::vector<std::string> ring{"LiberationSans",      "LiberationSans-Bold", "LiberationSans-Italic",
                                               "LiberationMono",      "LiberationSerif",     "DejaVuSerif-Bold"};
    return ring;
}

std::string nextFontNameInRing(const std::string& fontName) {
    const auto& ring = fontRing();
    const auto it = std::find(ring.begin(), ring.end(), fontName);
    if (it == ring.end() || it + 1 == ring.end()) return ring.front();
    return *(it + 1);
}

QFont qFontForFontName(const std::string& fontName, float pointSize) {
    const Face face = faceForFontName(fontName);
    QFont font(face.family);
    const auto& map = faceMap();
    if (map.count(fontName)) {
        font.setStyleName(face.style);
    } else {
        // A face this machine lacks: the system's substitute for its family, in the style its name says.
        const QString style = face.style.toLower();
        if (style.contains("bold") || style.contains("black") || style.contains("heavy")) font.setBold(true);
        if (style.contains("italic") || style.contains("oblique")) font.setItalic(true);
        if (!QFontDatabase::hasFamily(face.family) && QFontInfo(font).family().isEmpty())
            font.setFamily(defaultFamily());
    }
    font.setPixelSize(textbox::shownPointSize(pointSize));
    font.setHintingPreference(QFont::PreferNoHinting);
    font.setKerning(true);
    return font;
}

}  // namespace velumen::textfonts
