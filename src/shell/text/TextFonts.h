// Fonts of text boxes on this machine. A box stores a face name ("DejaVuSans-Bold"); the font database
// knows families and their styles. This keeps the one mapping between them (a face name is the family and
// the style with their blanks removed, joined by "-", the regular style giving the family alone), the
// lists the pickers show, the short ring of the font command, and the platform font of a stored one. A
// face this machine lacks is drawn with a font the system substitutes for its family (or the default
// family); its stored name is never changed by that.
#pragma once

#include <QFont>
#include <QString>
#include <QStringList>
#include <string>

#include "objects/KFont.h"

namespace velumen::textfonts {

// The family and style of a face name; for a name the database does not know: the part before the first
// "-" as family and the part after it as style.
struct Face {
    QString family;
    QString style;
};
Face faceForFontName(const std::string& fontName);
// The face name of a family's style.
std::string fontNameForFace(const QString& family, const QString& style);
// The face name of a family's regular style (the first style when it has no regular one).
std::string fontNameForFamily(const QString& family);
// The face names of a family, sorted; empty for a family this machine lacks.
std::vector<std::string> fontNamesOfFamily(const QString& family);
// The family of a face name, as the pickers and the recent list show it.
QString familyForFontName(const std::string& fontName);

// The part of a face name behind the first "-"; "Regular" when there is none or it is empty.
QString styleDisplayNameForFontName(const std::string& fontName);

// The families every picker shows first: those of the fixed list that this machine has.
const QStringList& commonFamilies();
// Every family of the machine, sorted.
const QStringList& allFamilies();
// The family a face this machine lacks is drawn with when the system offers no substitute.
QString defaultFamily();

// The next face of the short ring of the font command; a name outside the ring gives its first.
std::string nextFontNameInRing(const std::string& fontName);
const std::vector<std::string>& fontRing();

// The platform font of a stored face at a size in page units (rounded to whole units, within the shown
// limits), unhinted so that line breaks do not depend on the zoom.
QFont qFontForFontName(const std::string& fontName, float pointSize);
inline QFont qFontForKFont(const KFont& font) { return qFontForFontName(font.fontName, font.pointSize); }

}  // namespace velumen::textfonts
