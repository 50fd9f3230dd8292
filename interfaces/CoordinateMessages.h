#pragma once
// The messages between the view and the coordinate panel
// ("Graphic_Coordinate.dll") about typed coordinates, the read-out's
// options, the relative origin and the feature search, and the checks a
// typed coordinate passes. Coordinates are board units (nanometres).
#include <QPointF>
#include <QString>
#include <QVariantMap>
#include <QtGlobal>

namespace CoordinateMessages {

// ---- data keys -------------------------------------------------------------
inline const QString kKeyX = QStringLiteral("X");
inline const QString kKeyY = QStringLiteral("Y");
// A typed point measured from the relative origin (bool).
inline const QString kKeyRelative = QStringLiteral("Relative");
inline const QString kKeyRelativeX = QStringLiteral("RelativeX");
inline const QString kKeyRelativeY = QStringLiteral("RelativeY");
inline const QString kKeyUnit = QStringLiteral("Unit");  // "MM" or "Inch"
inline const QString kKeyOriginSet = QStringLiteral("OriginSet");
inline const QString kKeyOriginX = QStringLiteral("OriginX");
inline const QString kKeyOriginY = QStringLiteral("OriginY");
inline const QString kKeyMessage = QStringLiteral("Message");
inline const QString kKeyCode = QStringLiteral("Code");  // the request a reply or refusal answers
inline const QString kKeyLayers = QStringLiteral("Layers");

// ---- requests to the view ----------------------------------------------------
constexpr qint32 kCoordinateData = 20003201;  // "X", "Y" [, "Relative"]: go there, or the tool's next point
constexpr qint32 kEnterPressed = 20003202;    // the same keys: confirms the typed point
constexpr qint32 kEffectLayers = 20003204;    // "Layers": the layers a typed point applies to
constexpr qint32 kMouseRect = 20001656;       // answered with kMouseRectReply
constexpr qint32 kMousePoint = 20001664;      // answered with kMousePointReply
// The read-out's options.
constexpr qint32 kReadoutAbsolute = 20001413;
constexpr qint32 kReadoutRelative = 20001414;
constexpr qint32 kReadoutUnit = 20001415;  // "Unit"
// The relative origin: at "X", "Y" (any of these codes takes a given point),
// at the cursor, at the centre of the feature nearest to the point or the
// cursor (within the snap size, on the coordinate's layers), at a corner or
// the centre of the profile, at the datum; or cleared.
constexpr qint32 kAnchorAtPoint = 20000059;
constexpr qint32 kAnchorAtCursor = 20001405;
constexpr qint32 kAnchorAtFeature = 20001406;
constexpr qint32 kAnchorLowerLeft = 20001407;
constexpr qint32 kAnchorUpperLeft = 20001408;
constexpr qint32 kAnchorUpperRight = 20001409;
constexpr qint32 kAnchorLowerRight = 20001410;
constexpr qint32 kAnchorProfileCentre = 20001411;
constexpr qint32 kAnchorDatum = 20001412;
constexpr qint32 kAnchorClear = 20001419;
constexpr qint32 kAnchorFromAnalysis = 20002838;  // a check point's position, "X", "Y"
constexpr qint32 kAnchorFromExport = 20004202;    // a TVDI position, "X", "Y"

// ---- messages from the view --------------------------------------------------
// To the coordinate panel whenever the read-out's options or the relative
// origin change: "Relative", "Unit", "OriginSet" [, "OriginX", "OriginY"].
constexpr qint32 kCoordinateSettings = 20003211;
// A request refused: "Message" says why, "Code" names the request. Sent to
// the coordinate panel, and to the sender when that is another plug-in.
constexpr qint32 kRefused = 20003212;
// To the sender of kMousePoint: "X", "Y", "Unit", "Code" [, "RelativeX", "RelativeY"].
constexpr qint32 kMousePointReply = 20003213;
// To the sender of kMouseRect: "xmin", "ymin", "xmax", "ymax", "Code".
constexpr qint32 kMouseRectReply = 20003214;

// ---- feature search ------------------------------------------------------------
// To the view (zoomIn_search_feature): "Mode" is "index" ("Index"),
// "attribute" ("Attribute", and "Value"; an empty value matches any),
// "symbol" ("Symbol"), or "next" / "previous" to step through the last
// search's features. "Layers" (a list) limits the search; without it the
// coordinate's layers are searched (the effect layers, else the work layer,
// else the shown layers).
constexpr qint32 kSearchFeature = 20000065;
inline const QString kKeyMode = QStringLiteral("Mode");
inline const QString kKeyIndex = QStringLiteral("Index");
inline const QString kKeyAttribute = QStringLiteral("Attribute");
inline const QString kKeyValue = QStringLiteral("Value");
inline const QString kKeySymbol = QStringLiteral("Symbol");
// To the sender of a search, after each search and step: "Count" features
// found, "Position" (1-based) of the one shown, its "Layer", "Index", "X",
// "Y", and a "Message" for the operator ("Count" 0: nothing was found).
constexpr qint32 kSearchResult = 20003215;
inline const QString kKeyCount = QStringLiteral("Count");
inline const QString kKeyPosition = QStringLiteral("Position");
inline const QString kKeyLayer = QStringLiteral("Layer");

// The kernel keeps coordinates within one metre of the datum.
constexpr double kCoordinateLimit = 1.0e9;

// ---- checks of a typed coordinate ----------------------------------------------
struct CoordinateCheck {
    bool ok = false;
    double value = 0;  // whole nanometres
    QString error;
};
struct PointCheck {
    bool ok = false;
    QPointF point;
    QString error;
};
// One coordinate: present, a number (not text), not NaN, within the limit.
CoordinateCheck readCoordinate(const QVariantMap& data, const QString& key);
// "X" and "Y" as above.
PointCheck readPoint(const QVariantMap& data);
// "X" and "Y", made absolute when "Relative" is set (which needs an origin).
PointCheck resolveTyped(const QVariantMap& data, bool hasOrigin, const QPointF& origin);

}  // namespace CoordinateMessages
