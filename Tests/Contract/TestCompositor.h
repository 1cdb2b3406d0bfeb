#pragma once

#include "Contract/Eventually.h"

#include <ext-data-control-v1-server.h>
#include <fcntl.h>
#include <sys/eventfd.h>
#include <unistd.h>
#include <wayland-server.h>
#include <wlr-foreign-toplevel-management-unstable-v1-server.h>

#include <gtest/gtest.h>

#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace glimmerwick::contract {

/// A compositor that announces what the test wants, without doing much of it, and can end or take requests
/// amiss.
class TestCompositor {
public:
    TestCompositor() : m_display(wl_display_create()), m_wake(eventfd(0, EFD_CLOEXEC))
    {
        m_name = wl_display_add_socket_auto(m_display);
        m_wakeSource = wl_event_loop_add_fd(
            wl_display_get_event_loop(m_display), m_wake, WL_EVENT_READABLE,
            [](int, std::uint32_t, void* self) {
                static_cast<TestCompositor*>(self)->doAsked();
                return 0;
            },
            this);
    }
    ~TestCompositor()
    {
        end();
        close(m_wake);
    }
    TestCompositor(const TestCompositor&) = delete;
    TestCompositor& operator=(const TestCompositor&) = delete;

    const std::string& name() const { return m_name; }

    /// Something that can be bound and takes no requests. Before `begin`, or through `perform`.
    wl_global* announce(const wl_interface& interface, int version)
    {
        return wl_global_create(m_display, &interface, version, const_cast<wl_interface*>(&interface), bind);
    }

    /// A clipboard by the ext protocol, for one client, which is told of it.
    void announceDataControl()
    {
        wl_global_create(m_display, &ext_data_control_manager_v1_interface, 1, this,
                         [](wl_client* client, void* self, std::uint32_t version, std::uint32_t id) {
                             wl_resource* manager =
                                 wl_resource_create(client, &ext_data_control_manager_v1_interface,
                                                    static_cast<int>(version), id);
                             wl_resource_set_implementation(manager, &managerRequests, self, nullptr);
                         });
    }

    /// Windows, which `addToplevel` makes, for one client.
    void announceToplevels()
    {
        wl_global_create(m_display, &zwlr_foreign_toplevel_manager_v1_interface, 3, this,
                         [](wl_client* client, void* self, std::uint32_t version, std::uint32_t id) {
                             wl_resource* manager =
                                 wl_resource_create(client, &zwlr_foreign_toplevel_manager_v1_interface,
                                                    static_cast<int>(version), id);
                             wl_resource_set_implementation(manager, &toplevelManagerRequests, self, nullptr);
                             static_cast<TestCompositor*>(self)->m_toplevelManager = manager;
                         });
    }

    enum class ToplevelState { maximized = 0, minimized = 1, activated = 2 };

    /// The client must have bound the manager. Nobody but the test changes the state.
    wl_resource* addToplevel(const std::string& appId, const std::vector<ToplevelState>& states,
                             wl_resource* parent = nullptr)
    {
        wl_resource* toplevel = nullptr;
        perform([&] {
            toplevel = wl_resource_create(wl_resource_get_client(m_toplevelManager),
                                          &zwlr_foreign_toplevel_handle_v1_interface, 3, 0);
            wl_resource_set_dispatcher(toplevel, noteToplevelRequest, nullptr, this, nullptr);
            zwlr_foreign_toplevel_manager_v1_send_toplevel(m_toplevelManager, toplevel);
            zwlr_foreign_toplevel_handle_v1_send_app_id(toplevel, appId.c_str());
            zwlr_foreign_toplevel_handle_v1_send_parent(toplevel, parent);
            sendStates(toplevel, states);
        });
        return toplevel;
    }
    void setStates(wl_resource* toplevel, const std::vector<ToplevelState>& states)
    {
        perform([&] { sendStates(toplevel, states); });
    }

    /// The names of the requests that were made for windows.
    std::vector<std::string> toplevelRequests()
    {
        std::vector<std::string> requests;
        perform([&] { requests = m_toplevelRequests; });
        return requests;
    }

    void begin()
    {
        m_thread = std::thread([this] { wl_display_run(m_display); });
    }

    /// Ends as a compositor does that crashes: every connection is closed.
    void end()
    {
        if (m_thread.joinable()) {
            perform([this] { wl_display_terminate(m_display); });
            m_thread.join();
        }
        if (m_display) {
            wl_display_destroy_clients(m_display);
            wl_event_source_remove(m_wakeSource);
            wl_display_destroy(std::exchange(m_display, nullptr));
        }
    }

    /// Tells every client that it has done something wrong, which ends its connection.
    void blameClients()
    {
        // What clients make first.
        constexpr std::uint32_t registry = 2;
        perform([this] {
            wl_client* client = nullptr;
            wl_client_for_each(client, wl_display_get_client_list(m_display))
            {
                wl_resource_post_error(wl_client_get_object(client, registry), 7, "blamed");
            }
        });
    }

    /// Runs the work on the compositor's thread.
    void perform(std::function<void()> work)
    {
        std::packaged_task<void()> task(std::move(work));
        auto done = task.get_future();
        {
            const std::lock_guard lock(m_mutex);
            m_asked.push_back(std::move(task));
        }
        eventfd_write(m_wake, 1);
        done.get();
    }

    /// What the clipboard can be had as.
    std::vector<std::string> offeredTypes()
    {
        std::vector<std::string> types;
        perform([&] { types = m_selection ? typesOf(m_selection) : std::vector<std::string>(); });
        return types;
    }

    /// What the client that owns the clipboard gives.
    std::string contents(const std::string& type)
    {
        int ends[2];
        EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
        perform([&] {
            ext_data_control_source_v1_send_send(m_selection, type.c_str(), ends[1]);
            close(ends[1]);
        });
        std::string bytes;
        char piece[4096];
        for (ssize_t count = 0; (count = read(ends[0], piece, sizeof piece)) > 0;) {
            bytes.append(piece, static_cast<std::size_t>(count));
        }
        close(ends[0]);
        return bytes;
    }

    /// Another program copies a text, which is all that it gives.
    void copy(const std::string& type, const std::string& text)
    {
        perform([&] {
            m_foreignText = text;
            if (m_selection) {
                ext_data_control_source_v1_send_cancelled(std::exchange(m_selection, nullptr));
            }
            introduce({type});
        });
    }

private:
    using Types = std::vector<std::string>;

    static TestCompositor& from(wl_resource* resource)
    {
        return *static_cast<TestCompositor*>(wl_resource_get_user_data(resource));
    }
    static Types& typesOf(wl_resource* source)
    {
        return *static_cast<Types*>(wl_resource_get_user_data(source));
    }
    static void bind(wl_client* client, void* interface, std::uint32_t version, std::uint32_t id)
    {
        wl_resource* resource = wl_resource_create(client, static_cast<const wl_interface*>(interface),
                                                   static_cast<int>(version), id);
        wl_resource_set_dispatcher(
            resource, [](const void*, void*, std::uint32_t, const wl_message*, wl_argument*) { return 0; },
            nullptr, nullptr, nullptr);
    }
    static void destroy(wl_client*, wl_resource* resource) { wl_resource_destroy(resource); }

    static int noteToplevelRequest(const void*, void* resource, std::uint32_t, const wl_message* message,
                                   wl_argument*)
    {
        from(static_cast<wl_resource*>(resource)).m_toplevelRequests.emplace_back(message->name);
        return 0;
    }

    static void sendStates(wl_resource* toplevel, const std::vector<ToplevelState>& states)
    {
        wl_array wire;
        wl_array_init(&wire);
        for (const ToplevelState state : states) {
            *static_cast<std::uint32_t*>(wl_array_add(&wire, sizeof(std::uint32_t))) =
                static_cast<std::uint32_t>(state);
        }
        zwlr_foreign_toplevel_handle_v1_send_state(toplevel, &wire);
        zwlr_foreign_toplevel_handle_v1_send_done(toplevel);
        wl_array_release(&wire);
    }

    static void createSource(wl_client* client, wl_resource*, std::uint32_t id)
    {
        wl_resource* source = wl_resource_create(client, &ext_data_control_source_v1_interface, 1, id);
        wl_resource_set_implementation(source, &sourceRequests, new Types, [](wl_resource* resource) {
            delete static_cast<Types*>(wl_resource_get_user_data(resource));
        });
    }

    static void getDevice(wl_client* client, wl_resource* manager, std::uint32_t id, wl_resource*)
    {
        TestCompositor& self = from(manager);
        self.m_device = wl_resource_create(client, &ext_data_control_device_v1_interface, 1, id);
        wl_resource_set_implementation(self.m_device, &deviceRequests, &self, nullptr);
        ext_data_control_device_v1_send_selection(self.m_device, nullptr);
    }

    static void setSelection(wl_client*, wl_resource* device, wl_resource* source)
    {
        TestCompositor& self = from(device);
        if (self.m_selection) {
            ext_data_control_source_v1_send_cancelled(self.m_selection);
        }
        self.m_selection = source;
        if (source) {
            self.introduce(typesOf(source));
        } else {
            ext_data_control_device_v1_send_selection(device, nullptr);
        }
    }

    static void addType(wl_client*, wl_resource* source, const char* type)
    {
        typesOf(source).emplace_back(type);
    }

    static void receive(wl_client*, wl_resource* offer, const char*, int descriptor)
    {
        const std::string& text = from(offer).m_foreignText;
        EXPECT_EQ(write(descriptor, text.data(), text.size()), static_cast<ssize_t>(text.size()));
        close(descriptor);
    }

    void introduce(const Types& types)
    {
        wl_resource* offer =
            wl_resource_create(wl_resource_get_client(m_device), &ext_data_control_offer_v1_interface, 1, 0);
        wl_resource_set_implementation(offer, &offerRequests, this, nullptr);
        ext_data_control_device_v1_send_data_offer(m_device, offer);
        for (const auto& type : types) {
            ext_data_control_offer_v1_send_offer(offer, type.c_str());
        }
        ext_data_control_device_v1_send_selection(m_device, offer);
    }

    void doAsked()
    {
        eventfd_t ignored = 0;
        eventfd_read(m_wake, &ignored);
        std::vector<std::packaged_task<void()>> asked;
        {
            const std::lock_guard lock(m_mutex);
            asked = std::exchange(m_asked, {});
        }
        for (auto& task : asked) {
            task();
        }
    }

    static constexpr struct zwlr_foreign_toplevel_manager_v1_interface toplevelManagerRequests {
        [](wl_client*, wl_resource*) {}
    };
    static constexpr struct ext_data_control_manager_v1_interface managerRequests {
        createSource, getDevice, destroy
    };
    static constexpr struct ext_data_control_device_v1_interface deviceRequests {
        setSelection, destroy, [](wl_client*, wl_resource*, wl_resource*) {}
    };
    static constexpr struct ext_data_control_source_v1_interface sourceRequests {
        addType, destroy
    };
    static constexpr struct ext_data_control_offer_v1_interface offerRequests {
        receive, destroy
    };

    wl_display* m_display;
    std::string m_name;
    const int m_wake;
    /// The display does not end it.
    wl_event_source* m_wakeSource = nullptr;
    std::thread m_thread;
    std::mutex m_mutex;
    std::vector<std::packaged_task<void()>> m_asked;
    wl_resource* m_device = nullptr;
    wl_resource* m_selection = nullptr;
    std::string m_foreignText;
    wl_resource* m_toplevelManager = nullptr;
    std::vector<std::string> m_toplevelRequests;
};

} // namespace glimmerwick::contract
