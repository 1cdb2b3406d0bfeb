#include "Platform/Linux/DefaultApplicationLibrary.h"

#include "Platform/Linux/GLibHandles.h"

#include <gio/gio.h>

namespace glimmerwick {

namespace {

struct ObjectDeleter {
    void operator()(gpointer object) const { g_object_unref(object); }
};

template <typename Object> using ObjectHandle = std::unique_ptr<Object, ObjectDeleter>;

struct ListDeleter {
    void operator()(GList* list) const { g_list_free(list); }
};

// GIO reads what desktops and users have set themselves, where the usual script would only tell how it went
// once the application has ended.
Result<Success, std::string> open(const std::filesystem::path& file, const char* contentType)
{
    const ObjectHandle<GAppInfo> application(g_app_info_get_default_for_type(contentType, false));
    if (!application) {
        return Failure{std::string("no application is set up to open ") + contentType};
    }
    const ObjectHandle<GFile> opened(g_file_new_for_path(file.c_str()));
    const std::unique_ptr<GList, ListDeleter> files(g_list_append(nullptr, opened.get()));
    const ObjectHandle<GAppLaunchContext> context(g_app_launch_context_new());
    // It tells this program's toolkit how to make its panel, and would spoil other programs' windows.
    g_app_launch_context_unsetenv(context.get(), "QT_WAYLAND_USE_BYPASSWINDOWMANAGERHINT");
    GErrorHandle error;
    if (!g_app_info_launch(application.get(), files.get(), context.get(), error.out())) {
        return Failure{std::string(g_app_info_get_name(application.get()))
                       + " cannot be started: " + error.message()};
    }
    return Success{};
}

} // namespace

} // namespace glimmerwick

extern "C" __attribute__((visibility("default"))) glimmerwick::DefaultApplicationOpener*
glimmerwickDefaultApplication()
{
    return &glimmerwick::open;
}
