// The `dialwise` program. It stays small on purpose: --explain, --help, --version and handing a
// request to an already running Dialwise must not pay for loading the GUI or the web engine, so
// those live in the dialwise-gui module, loaded only when this process becomes the running one.
#include "Explain.h"
#include "VoiceAddress.h"

#include <QString>

#include <cstdio>
#include <cstring>

namespace {

void printText(const QString &text, FILE *stream)
{
    const QByteArray bytes = text.toLocal8Bit();
    std::fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), stream);
}

int explainCommand(const char *text)
{
    const dialwise::Explanation explanation = dialwise::explain(QString::fromLocal8Bit(text), dialwise::voice::baseUrl());
    printText(explanation.text, stdout);
    return explanation.dialable ? 0 : 1;
}

} // namespace

int main(int argc, char **argv)
{
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--explain") == 0) {
            if (i + 1 >= argc) {
                std::fputs("dialwise: --explain needs a text\n", stderr);
                return 2;
            }
            return explainCommand(argv[i + 1]);
        }
    }
    std::fputs("dialwise: only --explain is available in this build\n", stderr);
    return 2;
}
