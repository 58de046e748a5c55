#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace dialwise::testing {

// A recording `xdg-open` first on PATH, standing in for the user's browser and tel: handler:
// every call writes its arguments as one line to a log the test reads back. PATH changes for
// this process and all it starts from then on, until the opener goes.
class RecordingOpener
{
public:
    RecordingOpener();
    ~RecordingOpener();
    RecordingOpener(const RecordingOpener &) = delete;
    RecordingOpener &operator=(const RecordingOpener &) = delete;

    // False when the program could not be written; PATH is then left alone.
    bool isValid() const { return m_valid; }
    QString logPath() const;
    // What was opened, oldest first; empty when nothing was (the log does not exist yet).
    QStringList openedUrls() const;
    // Forgets what was opened so far.
    void clear();

private:
    QTemporaryDir m_bin;
    QByteArray m_previousPath;
    bool m_valid = false;
};

// main() of a test program whose links go to a recording opener: the opener comes first, so that
// every process started later finds it, then the application App and the tests. `opener` points
// at it while the tests run.
template <typename App>
int runTestsWithOpener(int argc, char **argv, RecordingOpener *&opener)
{
    RecordingOpener recording;
    if (!recording.isValid())
        return 2;
    opener = &recording;
    App app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    const int result = RUN_ALL_TESTS();
    opener = nullptr;
    return result;
}

} // namespace dialwise::testing
