// Coverage-guided fuzzing of normalisation with libFuzzer (clang builds only). Every input is
// read two ways, as UTF-8 and as raw UTF-16 units (so lone surrogates and NULs reach the code),
// and the real result must equal the plain reference implementation's and be stable when
// normalised again. Any difference aborts, which libFuzzer reports with the input saved.
#include "calling/PhoneNumbers.h"
#include "tests/unit/ReferenceNormalize.h"

#include <QString>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {

void check(const QString &text)
{
    const std::optional<QString> result = dialwise::phone::normalize(text);
    if (result != reference::normalize(text)) {
        std::fprintf(stderr, "normalize differs from the reference for %s\n", text.toUtf8().toHex().constData());
        std::abort();
    }
    if (result && dialwise::phone::normalize(*result) != result) {
        std::fprintf(stderr, "normalize is not stable on its own output for %s\n", text.toUtf8().toHex().constData());
        std::abort();
    }
    const QString display = dialwise::phone::formatForDisplay(text);
    if (display != reference::formatForDisplay(text)) {
        std::fprintf(stderr, "formatForDisplay differs from the reference for %s\n", text.toUtf8().toHex().constData());
        std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size > 4096)
        return 0;
    check(QString::fromUtf8(reinterpret_cast<const char *>(data), qsizetype(size)));
    QString units(qsizetype(size / 2), Qt::Uninitialized);
    for (size_t i = 0; i + 1 < size; i += 2)
        units[qsizetype(i / 2)] = QChar(char16_t(data[i] | (data[i + 1] << 8)));
    check(units);
    return 0;
}
