// Recorded window lists with malformed entries: the replay reader leaves out what the detector
// would skip without a word, and fills in what it would default, so the log reads as it would.
#include "detection/replay/DetectorReplay.h"

#include <gtest/gtest.h>

#include <QStringList>

namespace {

QStringList play(const QByteArray &json)
{
    QStringList lines;
    const std::optional<QString> error = dialwise::replay::play(json, [&](const QString &line) { lines.append(line); });
    EXPECT_FALSE(error) << error.value_or(QString()).toStdString();
    return lines;
}

TEST(ReplayWindowEntriesTest, malformedEntriesLeftOut_missingOwnerLayerAndBoundsDefaulted)
{
    const QStringList lines = play(R"({
        "timeline": [
            {"at": 0, "start": true},
            {"at": 1, "click": [1, 1]},
            {"at": 1.1, "windows": [
                {"number": 60.0, "pid": 6, "bounds": {"X": 1, "Y": 2, "Width": 3.5}},
                {"number": "61", "pid": 6, "owner": "A", "bounds": {"X": 0, "Y": 0, "Width": 10, "Height": 10}},
                {"number": 62.5, "pid": 6, "owner": "A", "bounds": {"X": 0, "Y": 0, "Width": 10, "Height": 10}},
                {"number": -63, "pid": 6, "owner": "A", "bounds": {"X": 0, "Y": 0, "Width": 10, "Height": 10}},
                {"number": 64, "owner": "A", "bounds": {"X": 0, "Y": 0, "Width": 10, "Height": 10}},
                {"number": 65, "pid": 6, "owner": "A", "bounds": {"X": "1"}},
                {"number": 66, "pid": 6, "owner": 42, "layer": "top", "bounds": {"X": 0, "Y": 0, "Width": 10, "Height": 10}}
            ]}
        ],
        "until": 1.3
    })");
    EXPECT_EQ(lines.filter(QStringLiteral("[NewWindow]")),
              (QStringList{
                  "1.300 log   [NewWindow] New window: id=60 owner='unknown' pid=6 layer=0 frame=(1.0,2.0,3.5,0.0)",
                  "1.300 log   [NewWindow] New window: id=66 owner='unknown' pid=6 layer=0 frame=(0.0,0.0,10.0,10.0)",
                  "1.300 log   [NewWindow] No new popup windows found",
              }));
}

TEST(ReplayWindowEntriesTest, entryWithoutWholeNumber_notKnownBeforeTheClick)
{
    // Window 3 is listed before the click with its number as a text: it is not taken as known,
    // and when it is listed properly afterwards it is a new window.
    const QStringList lines = play(R"({
        "timeline": [
            {"at": 0, "windows": [{"number": "3", "pid": 1, "bounds": {"X": 0, "Y": 0, "Width": 300, "Height": 150}},
                                  {"number": 2, "pid": 1, "bounds": {"X": 0, "Y": 0, "Width": 300, "Height": 150}}]},
            {"at": 0, "start": true},
            {"at": 1, "click": [1, 1]},
            {"at": 1.1, "windows": [{"number": 3, "pid": 1, "bounds": {"X": 0, "Y": 0, "Width": 300, "Height": 150}},
                                    {"number": 2, "pid": 1, "bounds": {"X": 0, "Y": 0, "Width": 300, "Height": 150}}]}
        ],
        "until": 1.3
    })");
    EXPECT_EQ(lines.filter(QStringLiteral("New window")),
              QStringList{"1.300 log   [NewWindow] New window: id=3 owner='unknown' pid=1 layer=0 frame=(0.0,0.0,300.0,150.0)"});
}

} // namespace
