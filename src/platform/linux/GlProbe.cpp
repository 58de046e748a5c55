#include "platform/linux/GlProbe.h"

#include <QByteArray>
#include <QList>

#include <EGL/egl.h>
#include <GL/glx.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

// Everything graphical is looked up at run time inside the child: Dialwise itself never links
// libGL or libEGL for this, and a missing library is an answer like any other.
namespace dialwise {
namespace {

using Clock = std::chrono::steady_clock;

// The child's whole answer, one line: "1\t<accelerated>\t<via>\t<renderer>" or "0\t<failure>".
std::string answer(int accelerated, const char *via, const char *renderer)
{
    return "1\t" + std::to_string(accelerated) + "\t" + via + "\t" + (renderer ? renderer : "");
}

std::string failure(const std::string &why)
{
    return "0\t" + why;
}

template<typename Function>
Function symbol(void *library, const char *name)
{
    return reinterpret_cast<Function>(dlsym(library, name));
}

bool hasExtension(const char *list, const char *name)
{
    if (!list)
        return false;
    const std::size_t length = std::strlen(name);
    for (const char *at = std::strstr(list, name); at; at = std::strstr(at + 1, name)) {
        const bool startsWord = at == list || at[-1] == ' ';
        const bool endsWord = at[length] == ' ' || at[length] == '\0';
        if (startsWord && endsWord)
            return true;
    }
    return false;
}

std::string askGlx()
{
    void *x11 = dlopen("libX11.so.6", RTLD_NOW | RTLD_LOCAL);
    if (!x11)
        return failure("libX11 not found");
    auto xOpenDisplay = symbol<Display *(*)(const char *)>(x11, "XOpenDisplay");
    auto xDefaultScreen = symbol<int (*)(Display *)>(x11, "XDefaultScreen");
    if (!xOpenDisplay || !xDefaultScreen)
        return failure("libX11 lacks XOpenDisplay");
    Display *display = xOpenDisplay(nullptr);
    if (!display)
        return failure("cannot open the X display");
    const int screen = xDefaultScreen(display);

    void *gl = dlopen("libGL.so.1", RTLD_NOW | RTLD_LOCAL);
    if (!gl)
        return failure("libGL.so.1 not found");
    auto queryExtension = symbol<Bool (*)(Display *, int *, int *)>(gl, "glXQueryExtension");
    auto extensionsString = symbol<const char *(*)(Display *, int)>(gl, "glXQueryExtensionsString");
    auto getProcAddress = symbol<void *(*)(const GLubyte *)>(gl, "glXGetProcAddressARB");
    int errorBase = 0;
    int eventBase = 0;
    if (!queryExtension || !queryExtension(display, &errorBase, &eventBase))
        return failure("the X server offers no GLX");

    // Asking the X server which extensions it has is a round trip; asking the driver loads it,
    // which for Mesa's llvmpipe means LLVM, a hundred milliseconds and more on a busy machine.
    // So the cases the server's extensions settle are settled there.
    auto xQueryExtension = symbol<Bool (*)(Display *, const char *, int *, int *, int *)>(x11, "XQueryExtension");
    auto serverHas = [&](const char *name) {
        int opcode = 0;
        int event = 0;
        int error = 0;
        return xQueryExtension && xQueryExtension(display, name, &opcode, &event, &error);
    };
    // NVIDIA's own driver brings its own GLX, always in hardware.
    if (serverHas("NV-GLX"))
        return answer(1, "GLX", "NVIDIA (the X server has NV-GLX)");
    // Without DRI no client can reach a GPU directly: Mesa then draws in the client's CPU
    // (llvmpipe), as under Xvfb, VNC servers and X forwarded over ssh.
    if (xQueryExtension && !serverHas("DRI3") && !serverHas("DRI2"))
        return answer(0, "GLX", "the X server offers no DRI (a virtual or remote display)");

    // Mesa names its renderer and says whether it is accelerated without a context, which spares
    // compiling anything.
    const char *extensions = extensionsString ? extensionsString(display, screen) : nullptr;
    if (getProcAddress && hasExtension(extensions, "GLX_MESA_query_renderer")) {
        auto queryInteger = reinterpret_cast<Bool (*)(Display *, int, int, int, unsigned int *)>(
            getProcAddress(reinterpret_cast<const GLubyte *>("glXQueryRendererIntegerMESA")));
        auto queryString = reinterpret_cast<const char *(*)(Display *, int, int, int)>(
            getProcAddress(reinterpret_cast<const GLubyte *>("glXQueryRendererStringMESA")));
        unsigned int accelerated = 0;
        if (queryInteger && queryString
            && queryInteger(display, screen, 0, GLX_RENDERER_ACCELERATED_MESA, &accelerated)) {
            const char *device = queryString(display, screen, 0, GLX_RENDERER_DEVICE_ID_MESA);
            return answer(accelerated ? 1 : 0, "GLX", device);
        }
    }

    // Any other driver: make a context on a 1x1 pbuffer and read GL_RENDERER.
    auto chooseConfig = symbol<GLXFBConfig *(*)(Display *, int, const int *, int *)>(gl, "glXChooseFBConfig");
    auto createContext = symbol<GLXContext (*)(Display *, GLXFBConfig, int, GLXContext, Bool)>(gl, "glXCreateNewContext");
    auto createPbuffer = symbol<GLXPbuffer (*)(Display *, GLXFBConfig, const int *)>(gl, "glXCreatePbuffer");
    auto makeCurrent = symbol<Bool (*)(Display *, GLXDrawable, GLXDrawable, GLXContext)>(gl, "glXMakeContextCurrent");
    auto getString = symbol<const GLubyte *(*)(GLenum)>(gl, "glGetString");
    if (!chooseConfig || !createContext || !createPbuffer || !makeCurrent || !getString)
        return failure("libGL lacks GLX 1.3");
    const int configAttributes[] = {GLX_DRAWABLE_TYPE, GLX_PBUFFER_BIT, GLX_RENDER_TYPE, GLX_RGBA_BIT, None};
    int count = 0;
    GLXFBConfig *configs = chooseConfig(display, screen, configAttributes, &count);
    if (!configs || count == 0)
        return failure("GLX has no pbuffer configuration");
    GLXContext context = createContext(display, configs[0], GLX_RGBA_TYPE, nullptr, True);
    if (!context)
        return failure("GLX cannot make a context");
    const int pbufferAttributes[] = {GLX_PBUFFER_WIDTH, 1, GLX_PBUFFER_HEIGHT, 1, None};
    const GLXPbuffer pbuffer = createPbuffer(display, configs[0], pbufferAttributes);
    if (!pbuffer || !makeCurrent(display, pbuffer, pbuffer, context))
        return failure("GLX cannot make its context current");
    return answer(-1, "GLX", reinterpret_cast<const char *>(getString(GL_RENDERER)));
}

std::string askEgl()
{
    void *egl = dlopen("libEGL.so.1", RTLD_NOW | RTLD_LOCAL);
    if (!egl)
        return failure("libEGL.so.1 not found");
    auto getDisplay = symbol<EGLDisplay (*)(EGLNativeDisplayType)>(egl, "eglGetDisplay");
    auto initialize = symbol<EGLBoolean (*)(EGLDisplay, EGLint *, EGLint *)>(egl, "eglInitialize");
    auto bindApi = symbol<EGLBoolean (*)(EGLenum)>(egl, "eglBindAPI");
    auto chooseConfig = symbol<EGLBoolean (*)(EGLDisplay, const EGLint *, EGLConfig *, EGLint, EGLint *)>(egl, "eglChooseConfig");
    auto createContext = symbol<EGLContext (*)(EGLDisplay, EGLConfig, EGLContext, const EGLint *)>(egl, "eglCreateContext");
    auto createPbuffer = symbol<EGLSurface (*)(EGLDisplay, EGLConfig, const EGLint *)>(egl, "eglCreatePbufferSurface");
    auto makeCurrent = symbol<EGLBoolean (*)(EGLDisplay, EGLSurface, EGLSurface, EGLContext)>(egl, "eglMakeCurrent");
    auto getProcAddress = symbol<void *(*)(const char *)>(egl, "eglGetProcAddress");
    if (!getDisplay || !initialize || !bindApi || !chooseConfig || !createContext || !createPbuffer || !makeCurrent
        || !getProcAddress)
        return failure("libEGL lacks EGL 1.4");
    EGLDisplay display = getDisplay(EGL_DEFAULT_DISPLAY);
    EGLint major = 0;
    EGLint minor = 0;
    if (display == EGL_NO_DISPLAY || !initialize(display, &major, &minor))
        return failure("EGL cannot open the display");
    if (!bindApi(EGL_OPENGL_ES_API))
        return failure("EGL offers no OpenGL ES");
    const EGLint configAttributes[] = {EGL_SURFACE_TYPE, EGL_PBUFFER_BIT, EGL_RENDERABLE_TYPE, EGL_OPENGL_ES2_BIT, EGL_NONE};
    EGLConfig config = nullptr;
    EGLint count = 0;
    if (!chooseConfig(display, configAttributes, &config, 1, &count) || count == 0)
        return failure("EGL has no pbuffer configuration");
    const EGLint contextAttributes[] = {EGL_CONTEXT_CLIENT_VERSION, 2, EGL_NONE};
    EGLContext context = createContext(display, config, EGL_NO_CONTEXT, contextAttributes);
    const EGLint pbufferAttributes[] = {EGL_WIDTH, 1, EGL_HEIGHT, 1, EGL_NONE};
    EGLSurface surface = createPbuffer(display, config, pbufferAttributes);
    if (context == EGL_NO_CONTEXT || surface == EGL_NO_SURFACE || !makeCurrent(display, surface, surface, context))
        return failure("EGL cannot make a context");
    auto getString = reinterpret_cast<const GLubyte *(*)(GLenum)>(getProcAddress("glGetString"));
    if (!getString) {
        if (void *gles = dlopen("libGLESv2.so.2", RTLD_NOW | RTLD_LOCAL))
            getString = symbol<const GLubyte *(*)(GLenum)>(gles, "glGetString");
    }
    if (!getString)
        return failure("EGL gives no glGetString");
    return answer(-1, "EGL", reinterpret_cast<const char *>(getString(GL_RENDERER)));
}

// As Qt will choose: GLX on X11 unless told to use EGL; EGL on Wayland and the rest.
bool useGlx()
{
    if (qgetenv("QT_XCB_GL_INTEGRATION") == "xcb_egl")
        return false;
    const QByteArray platform = qgetenv("QT_QPA_PLATFORM");
    if (!platform.isEmpty())
        return platform.startsWith("xcb");
    // With both displays at hand, Qt takes Wayland in a Wayland session.
    if (qEnvironmentVariableIsSet("WAYLAND_DISPLAY") && qgetenv("XDG_SESSION_TYPE") == "wayland")
        return false;
    return qEnvironmentVariableIsSet("DISPLAY");
}

} // namespace

GlProbeResult probeGl(std::chrono::milliseconds limit)
{
    const Clock::time_point start = Clock::now();
    GlProbeResult result;
    auto finish = [&](const QString &why) {
        result.failure = why;
        result.took = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - start);
        return result;
    };

    int fds[2];
    if (pipe2(fds, O_CLOEXEC) != 0)
        return finish(QStringLiteral("no pipe for the probe: %1").arg(QString::fromLocal8Bit(std::strerror(errno))));
    const bool glx = useGlx();
    const pid_t child = fork();
    if (child < 0) {
        close(fds[0]);
        close(fds[1]);
        return finish(QStringLiteral("cannot start the probe: %1").arg(QString::fromLocal8Bit(std::strerror(errno))));
    }
    if (child == 0) {
        // Drivers like to talk on stderr ("MESA-LOADER: failed to open ..."); their view of this
        // probe is not the user's business, the log line is.
        const int null = open("/dev/null", O_WRONLY);
        if (null >= 0)
            dup2(null, STDERR_FILENO);
        close(fds[0]);
        const std::string line = (glx ? askGlx() : askEgl()) + "\n";
        ssize_t ignored = write(fds[1], line.data(), line.size());
        (void)ignored;
        _exit(0);
    }
    close(fds[1]);

    QByteArray received;
    bool timedOut = false;
    for (;;) {
        const auto left = limit - std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start);
        if (left.count() <= 0) {
            timedOut = true;
            break;
        }
        pollfd wait{fds[0], POLLIN, 0};
        const int ready = poll(&wait, 1, int(left.count()));
        if (ready < 0 && errno == EINTR)
            continue;
        if (ready <= 0) {
            timedOut = ready == 0;
            break;
        }
        char buffer[512];
        const ssize_t got = read(fds[0], buffer, sizeof buffer);
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            break;
        received.append(buffer, int(got));
    }
    close(fds[0]);
    if (timedOut)
        kill(child, SIGKILL);
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }

    if (timedOut)
        return finish(QStringLiteral("the OpenGL probe gave no answer within %1 ms").arg(limit.count()));
    if (WIFSIGNALED(status))
        return finish(QStringLiteral("the OpenGL probe crashed (signal %1)").arg(WTERMSIG(status)));
    const QList<QByteArray> fields = received.trimmed().split('\t');
    if (fields.size() == 4 && fields[0] == "1") {
        result.answered = true;
        result.accelerated = fields[1].toInt();
        result.via = QString::fromLatin1(fields[2]);
        result.renderer = QString::fromUtf8(fields[3]);
        return finish(QString());
    }
    if (fields.size() >= 2 && fields[0] == "0")
        return finish(QString::fromUtf8(fields[1]));
    return finish(QStringLiteral("the OpenGL probe ended without an answer"));
}

} // namespace dialwise
