// Which room of src may reach into which. The rooms are kept apart so that the calling core and
// the detector's logic stay testable without a desktop, and so that every X11, AT-SPI and D-Bus
// detail stays behind the interfaces in src/platform/linux. The compiler enforces part of this
// (a room that does not link Qt Widgets cannot include a widget header); these checks catch the
// rest: a quoted include into a room not listed below, a native desktop header outside the
// platform room, an include that is not rooted at src. docs/architecture.md shows the same table.

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QHash>
#include <QRegularExpression>
#include <QStringList>

#include <gtest/gtest.h>

namespace {

const QString kSourceDir = QStringLiteral(DIALWISE_SOURCE_DIR);

// The room a file belongs to: its folder below src, with replay/ and ui/ kept apart from the
// detector's logic because they may include what the logic may not.
QString roomOf(const QString &relativePath)
{
    const qsizetype slash = relativePath.lastIndexOf(u'/');
    return slash < 0 ? QString() : relativePath.left(slash);
}

// Each room and the rooms its files may include (its own included).
const QHash<QString, QStringList> &allowedRooms()
{
    static const QHash<QString, QStringList> rooms = {
        {QStringLiteral("calling"), {QStringLiteral("calling")}},
        {QStringLiteral("detection"), {QStringLiteral("calling"), QStringLiteral("detection")}},
        {QStringLiteral("detection/replay"),
         {QStringLiteral("calling"), QStringLiteral("detection"), QStringLiteral("detection/replay")}},
        {QStringLiteral("detection/ui"),
         {QStringLiteral("calling"), QStringLiteral("detection"), QStringLiteral("detection/ui")}},
        {QStringLiteral("platform/linux"),
         {QStringLiteral("calling"), QStringLiteral("detection"), QStringLiteral("platform/linux")}},
        {QStringLiteral("webcall"),
         {QStringLiteral("calling"), QStringLiteral("webcall"), QStringLiteral("platform/linux")}},
        {QStringLiteral("app"),
         {QStringLiteral("calling"), QStringLiteral("detection"), QStringLiteral("detection/replay"),
          QStringLiteral("detection/ui"), QStringLiteral("platform/linux"), QStringLiteral("webcall"),
          QStringLiteral("app")}},
    };
    return rooms;
}

struct Include
{
    QString file; // relative to src
    int line = 0;
    QString target;
    bool quoted = false;
};

QList<Include> includesUnderSrc()
{
    static const QRegularExpression includeLine(QStringLiteral(R"(^\s*#\s*include\s*([<"])([^>"]+)[>"])"));
    QList<Include> found;
    const QDir src(kSourceDir + QStringLiteral("/src"));
    QDirIterator files(src.path(), {QStringLiteral("*.h"), QStringLiteral("*.cpp")}, QDir::Files,
                       QDirIterator::Subdirectories);
    while (files.hasNext()) {
        const QString path = files.next();
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) {
            ADD_FAILURE() << "cannot read " << path.toStdString();
            continue;
        }
        int number = 0;
        while (!file.atEnd()) {
            const QString text = QString::fromUtf8(file.readLine());
            ++number;
            const QRegularExpressionMatch match = includeLine.match(text);
            if (match.hasMatch())
                found.append({src.relativeFilePath(path), number, match.captured(2), match.captured(1) == u'"'});
        }
    }
    return found;
}

std::string where(const Include &include)
{
    return QStringLiteral("src/%1:%2 includes %3").arg(include.file).arg(include.line).arg(include.target).toStdString();
}

// moc's output is included by name from the build tree.
bool isGenerated(const QString &target)
{
    return target.endsWith(QLatin1String(".moc")) || target.startsWith(QLatin1String("moc_"));
}

TEST(Rooms, TheTreeHasIncludesToCheck)
{
    // A wrong source path would make every other check pass on nothing.
    EXPECT_GT(includesUnderSrc().size(), 300);
}

TEST(Rooms, EveryFileBelongsToAKnownRoom)
{
    for (const Include &include : includesUnderSrc())
        EXPECT_TRUE(allowedRooms().contains(roomOf(include.file))) << "no room for src/" << include.file.toStdString();
}

TEST(Rooms, QuotedIncludesAreRootedAtSrcAndExist)
{
    for (const Include &include : includesUnderSrc()) {
        if (!include.quoted || isGenerated(include.target))
            continue;
        EXPECT_TRUE(include.target.contains(u'/')) << where(include) << ": name the room";
        EXPECT_TRUE(QFile::exists(kSourceDir + QStringLiteral("/src/") + include.target)) << where(include);
    }
}

TEST(Rooms, EachRoomIncludesOnlyTheRoomsItMayReach)
{
    for (const Include &include : includesUnderSrc()) {
        if (!include.quoted || isGenerated(include.target))
            continue;
        const QStringList allowed = allowedRooms().value(roomOf(include.file));
        EXPECT_TRUE(allowed.contains(roomOf(include.target))) << where(include);
    }
}

TEST(Rooms, NativeDesktopHeadersStayInThePlatformRoom)
{
    static const QRegularExpression native(QStringLiteral(R"(^(X11|xcb|atspi|glib|gio|dbus|GL|EGL)/|^glib)"));
    for (const Include &include : includesUnderSrc()) {
        if (include.quoted || roomOf(include.file) == QLatin1String("platform/linux"))
            continue;
        EXPECT_FALSE(native.match(include.target).hasMatch()) << where(include);
    }
}

TEST(Rooms, WidgetsAndTheWebEngineStayInTheWidgetRooms)
{
    static const QRegularExpression widgets(
        QStringLiteral(R"(^(QtWidgets/|QtWebEngine|QWebEngine|QWidget$|QApplication$|QDialog$|QMainWindow$))"));
    static const QStringList widgetRooms = {QStringLiteral("detection/ui"), QStringLiteral("webcall"),
                                            QStringLiteral("app")};
    for (const Include &include : includesUnderSrc()) {
        if (include.quoted || widgetRooms.contains(roomOf(include.file)))
            continue;
        EXPECT_FALSE(widgets.match(include.target).hasMatch()) << where(include);
    }
}

} // namespace
