// Which drawing path Dialwise takes for what the session's OpenGL offers and what the user asked.
#include "app/RendererChoice.h"
#include "tests/support/NamedRows.h"

#include <gtest/gtest.h>

#include <ostream>

using dialwise::chooseRenderer;
using dialwise::classifyGlRenderer;
using dialwise::GlOffer;
using dialwise::RendererChoice;

namespace {

constexpr auto software = RendererChoice::Path::software;
constexpr auto hardware = RendererChoice::Path::hardware;

struct ChoiceRow
{
    const char *name;
    const char *override;
    const char *glIntegration;
    GlOffer::Kind offered;
    const char *detail;
    RendererChoice::Path expected;
    bool probes;         // whether the decision had to ask the probe
    const char *because; // a piece of the reason that must be there
};

using RendererChoiceTest = ::testing::TestWithParam<ChoiceRow>;

TEST_P(RendererChoiceTest, chooses_pathAndSaysWhy)
{
    const ChoiceRow &row = GetParam();
    int probed = 0;
    const RendererChoice choice = chooseRenderer(QString::fromUtf8(row.override), QString::fromUtf8(row.glIntegration), [&] {
        ++probed;
        return GlOffer{row.offered, QString::fromUtf8(row.detail)};
    });
    EXPECT_EQ(choice.path, row.expected) << choice.reason.toStdString();
    EXPECT_EQ(probed, row.probes ? 1 : 0);
    EXPECT_TRUE(choice.reason.contains(QString::fromUtf8(row.because))) << choice.reason.toStdString();
}

constexpr auto none = GlOffer::Kind::none;
constexpr auto cpu = GlOffer::Kind::software;
constexpr auto gpu = GlOffer::Kind::hardware;

INSTANTIATE_TEST_SUITE_P(
    Table, RendererChoiceTest,
    ::testing::Values(
        ChoiceRow{"autoHardware", "", "", gpu, "AMD Radeon RX 6600 (GLX)", hardware, true, "AMD Radeon RX 6600"},
        ChoiceRow{"autoLlvmpipe", "", "", cpu, "llvmpipe (LLVM 15.0.6, 256 bits) (GLX)", software, true, "llvmpipe"},
        ChoiceRow{"autoNoGlx", "", "", none, "the X server offers no GLX", software, true, "no GLX"},
        ChoiceRow{"autoProbeCrashed", "", "", none, "the OpenGL probe crashed (signal 11)", software, true, "crashed"},
        ChoiceRow{"explicitAuto", "auto", "", gpu, "Mesa Intel(R) UHD Graphics 620 (GLX)", hardware, true, "Intel"},
        ChoiceRow{"autoAnyCase", " AUTO ", "", cpu, "softpipe (GLX)", software, true, "softpipe"},
        // Qt told to use no OpenGL: nothing to ask, and the OpenGL path would not start.
        ChoiceRow{"qtWithoutGl", "", "none", gpu, "unused", software, false, "QT_XCB_GL_INTEGRATION=none"},
        ChoiceRow{"qtEglStillProbed", "", "xcb_egl", gpu, "Mesa Intel (EGL)", hardware, true, "EGL"},
        // The user's word wins over the probe, which is then not even run.
        ChoiceRow{"forcedSoftwareOnGpu", "software", "", gpu, "unused", software, false, "DIALWISE_RENDERER=software"},
        ChoiceRow{"forcedHardwareOnLlvmpipe", "hardware", "", cpu, "unused", hardware, false, "DIALWISE_RENDERER=hardware"},
        ChoiceRow{"forcedUpperCase", "Software", "", gpu, "unused", software, false, "DIALWISE_RENDERER=software"},
        // ...except that hardware cannot be had when Qt itself has no OpenGL: that would crash.
        ChoiceRow{"forcedHardwareWithoutGl", "hardware", "none", gpu, "unused", software, false, "QT_XCB_GL_INTEGRATION=none"},
        ChoiceRow{"unknownOverride", "gpu", "", gpu, "Radeon (GLX)", hardware, true, "DIALWISE_RENDERER=gpu is not"},
        ChoiceRow{"unknownOverrideNoGl", "fast", "", none, "libGL.so.1 not found", software, true, "libGL.so.1 not found"}),
    dialwise::testing::RowName());

struct NameRow
{
    const char *renderer;
    int accelerated;
    GlOffer::Kind expected;
};

void PrintTo(const NameRow &row, std::ostream *os)
{
    *os << row.renderer << " accelerated=" << row.accelerated;
}

using GlRendererNameTest = ::testing::TestWithParam<NameRow>;

TEST_P(GlRendererNameTest, classify_sortsSoftwareFromHardware)
{
    const NameRow &row = GetParam();
    EXPECT_EQ(classifyGlRenderer(QString::fromUtf8(row.renderer), row.accelerated), row.expected);
}

INSTANTIATE_TEST_SUITE_P(
    Names, GlRendererNameTest,
    ::testing::Values(NameRow{"llvmpipe (LLVM 15.0.6, 256 bits)", -1, GlOffer::Kind::software},
                      NameRow{"Gallium 0.4 on softpipe", -1, GlOffer::Kind::software},
                      NameRow{"Software Rasterizer", -1, GlOffer::Kind::software},
                      NameRow{"Mesa DRI swrast", -1, GlOffer::Kind::software},
                      NameRow{"Google SwiftShader", -1, GlOffer::Kind::software},
                      NameRow{"LLVMPIPE (LLVM 11)", -1, GlOffer::Kind::software},
                      NameRow{"AMD Radeon RX 6600 (navi23, LLVM 15.0.6, DRM 3.49)", -1, GlOffer::Kind::hardware},
                      NameRow{"NVIDIA GeForce GTX 1060/PCIe/SSE2", -1, GlOffer::Kind::hardware},
                      NameRow{"virgl (Intel(R) UHD Graphics)", -1, GlOffer::Kind::hardware},
                      // The driver's own "not accelerated" wins over a name we do not know.
                      NameRow{"Mystery Renderer", 0, GlOffer::Kind::software},
                      NameRow{"Mesa Intel(R) UHD Graphics 620 (KBL GT2)", 1, GlOffer::Kind::hardware},
                      NameRow{"", -1, GlOffer::Kind::none}));

} // namespace
