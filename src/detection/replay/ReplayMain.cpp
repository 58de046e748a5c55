// `dialwise --replay-detector`: a module of its own so that the launcher loads libphonenumber
// and the detector only when asked to replay, never when it hands a link over.
#include "detection/replay/DetectorReplay.h"
#include "detection/replay/ReplayEntry.h"

extern "C" __attribute__((visibility("default"))) int dialwise_replay_main(const char *scenarioPath)
{
    return dialwise::replay::run(QString::fromLocal8Bit(scenarioPath));
}
