// Test entry for the GL tests: one application object, with the contexts of the program's format shared.
#include <gtest/gtest.h>

#include <QApplication>
#include <QSurfaceFormat>
#include <cstdlib>

#include "render/EAGLViewController.h"

#ifdef __SANITIZE_ADDRESS__
#include <dlfcn.h>
#include <link.h>

#include <string>
#include <vector>

// The GL driver keeps a few allocations until the process ends, and unloads itself before the leak check
// can name it. Keep its modules loaded so that the check sees where those blocks came from, and pass over
// what the driver, its compiler and the windowing libraries hold.
extern "C" const char* __lsan_default_suppressions() {
    return "leak:_dri.so\nleak:libgallium\nleak:libLLVM\nleak:libGLX_mesa\nleak:libglapi\nleak:libEGL_mesa\n"
           "leak:libxcb\nleak:libX11\nleak:libdbus\n";
}

namespace {

void keepDriverLoaded() {
    std::vector<std::string> names;
    dl_iterate_phdr(
        [](dl_phdr_info* info, size_t, void* data) {
            const std::string name = info->dlpi_name ? info->dlpi_name : "";
            if (name.find("_dri.so") != std::string::npos || name.find("libgallium") != std::string::npos ||
                name.find("libLLVM") != std::string::npos)
                static_cast<std::vector<std::string>*>(data)->push_back(name);
            return 0;
        },
        &names);
    for (const std::string& name : names)
        dlopen(name.c_str(), RTLD_NOW | RTLD_NOLOAD | RTLD_NODELETE);
}

// Runs once the first context exists, in the first test that makes one.
struct DriverKeeper : testing::EmptyTestEventListener {
    void OnTestEnd(const testing::TestInfo&) override { keepDriverLoaded(); }
};

}  // namespace
#endif

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    // Listing the tests needs no display.
    if (testing::GTEST_FLAG(list_tests)) return RUN_ALL_TESTS();
    // Without any display the tests still run, to fail or skip on the missing context.
    if (!std::getenv("DISPLAY") && !std::getenv("WAYLAND_DISPLAY") && !std::getenv("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
#ifdef __SANITIZE_ADDRESS__
    // The leak check stops every thread at exit; the software rasteriser's workers and the shader cache's
    // writer must not be among them.
    setenv("LP_NUM_THREADS", "0", 0);
    setenv("MESA_SHADER_CACHE_DISABLE", "true", 0);
#endif
    QSurfaceFormat::setDefaultFormat(velumen::EAGLViewController::surfaceFormat());
    QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
    QApplication app(argc, argv);
#ifdef __SANITIZE_ADDRESS__
    testing::UnitTest::GetInstance()->listeners().Append(new DriverKeeper);
#endif
    return RUN_ALL_TESTS();
}
