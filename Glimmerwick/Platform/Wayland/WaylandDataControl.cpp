#include "Platform/Wayland/WaylandDataControl.h"

#include "Platform/Wayland/WaylandDisplay.h"

#include <ext-data-control-v1.h>
#include <wlr-data-control-unstable-v1.h>

#include <algorithm>
#include <utility>

namespace glimmerwick {

namespace {

/// What the two protocols call the same things.
struct ExtProtocol {
    using Manager = ext_data_control_manager_v1;
    using Device = ext_data_control_device_v1;
    using DeviceListener = ext_data_control_device_v1_listener;
    using Source = ext_data_control_source_v1;
    using SourceListener = ext_data_control_source_v1_listener;
    using Offer = ext_data_control_offer_v1;
    using OfferListener = ext_data_control_offer_v1_listener;

    static constexpr std::uint32_t highestVersion = 1;
    static constexpr std::uint32_t firstVersionWithPrimary = 1;
    static constexpr const wl_interface& managerInterface = ext_data_control_manager_v1_interface;
    static constexpr auto createSource = ext_data_control_manager_v1_create_data_source;
    static constexpr auto getDevice = ext_data_control_manager_v1_get_data_device;
    static constexpr auto managerVersion = ext_data_control_manager_v1_get_version;
    static constexpr auto destroyManager = ext_data_control_manager_v1_destroy;
    static constexpr auto listenToDevice = ext_data_control_device_v1_add_listener;
    static constexpr auto setSelection = ext_data_control_device_v1_set_selection;
    static constexpr auto setPrimarySelection = ext_data_control_device_v1_set_primary_selection;
    static constexpr auto destroyDevice = ext_data_control_device_v1_destroy;
    static constexpr auto listenToSource = ext_data_control_source_v1_add_listener;
    static constexpr auto addType = ext_data_control_source_v1_offer;
    static constexpr auto destroySource = ext_data_control_source_v1_destroy;
    static constexpr auto listenToOffer = ext_data_control_offer_v1_add_listener;
    static constexpr auto receive = ext_data_control_offer_v1_receive;
    static constexpr auto destroyOffer = ext_data_control_offer_v1_destroy;
};

struct WlrProtocol {
    using Manager = zwlr_data_control_manager_v1;
    using Device = zwlr_data_control_device_v1;
    using DeviceListener = zwlr_data_control_device_v1_listener;
    using Source = zwlr_data_control_source_v1;
    using SourceListener = zwlr_data_control_source_v1_listener;
    using Offer = zwlr_data_control_offer_v1;
    using OfferListener = zwlr_data_control_offer_v1_listener;

    static constexpr std::uint32_t highestVersion = 2;
    static constexpr std::uint32_t firstVersionWithPrimary =
        ZWLR_DATA_CONTROL_DEVICE_V1_SET_PRIMARY_SELECTION_SINCE_VERSION;
    static constexpr const wl_interface& managerInterface = zwlr_data_control_manager_v1_interface;
    static constexpr auto createSource = zwlr_data_control_manager_v1_create_data_source;
    static constexpr auto getDevice = zwlr_data_control_manager_v1_get_data_device;
    static constexpr auto managerVersion = zwlr_data_control_manager_v1_get_version;
    static constexpr auto destroyManager = zwlr_data_control_manager_v1_destroy;
    static constexpr auto listenToDevice = zwlr_data_control_device_v1_add_listener;
    static constexpr auto setSelection = zwlr_data_control_device_v1_set_selection;
    static constexpr auto setPrimarySelection = zwlr_data_control_device_v1_set_primary_selection;
    static constexpr auto destroyDevice = zwlr_data_control_device_v1_destroy;
    static constexpr auto listenToSource = zwlr_data_control_source_v1_add_listener;
    static constexpr auto addType = zwlr_data_control_source_v1_offer;
    static constexpr auto destroySource = zwlr_data_control_source_v1_destroy;
    static constexpr auto listenToOffer = zwlr_data_control_offer_v1_add_listener;
    static constexpr auto receive = zwlr_data_control_offer_v1_receive;
    static constexpr auto destroyOffer = zwlr_data_control_offer_v1_destroy;
};

template <typename Protocol> class Offer : public WaylandDataOffer {
public:
    explicit Offer(typename Protocol::Offer* proxy) : m_proxy(proxy)
    {
        static constexpr typename Protocol::OfferListener listener{
            [](void* self, typename Protocol::Offer*, const char* type) {
                static_cast<Offer*>(self)->m_types.emplace_back(type);
            }};
        Protocol::listenToOffer(m_proxy, &listener, this);
    }
    ~Offer() override { Protocol::destroyOffer(m_proxy); }
    Offer(const Offer&) = delete;
    Offer& operator=(const Offer&) = delete;

    typename Protocol::Offer* proxy() const { return m_proxy; }

    void receive(const std::string& type, int descriptor) override
    {
        Protocol::receive(m_proxy, type.c_str(), descriptor);
    }

private:
    typename Protocol::Offer* const m_proxy;
};

template <typename Protocol> class Source : public WaylandDataSource {
public:
    Source(typename Protocol::Source* proxy, const std::vector<std::string>& types, Handlers handlers)
        : m_proxy(proxy), m_handlers(std::move(handlers))
    {
        static constexpr typename Protocol::SourceListener listener{
            [](void* self, typename Protocol::Source*, const char* type, std::int32_t descriptor) {
                static_cast<Source*>(self)->m_handlers.onSend(type, descriptor);
            },
            [](void* self, typename Protocol::Source*) {
                // A copy: the handler may destroy the source.
                const auto handler = static_cast<Source*>(self)->m_handlers.onCancelled;
                handler();
            },
        };
        Protocol::listenToSource(m_proxy, &listener, this);
        for (const auto& type : types) {
            Protocol::addType(m_proxy, type.c_str());
        }
    }
    ~Source() override { Protocol::destroySource(m_proxy); }
    Source(const Source&) = delete;
    Source& operator=(const Source&) = delete;

    typename Protocol::Source* proxy() const { return m_proxy; }

private:
    typename Protocol::Source* const m_proxy;
    const Handlers m_handlers;
};

template <typename Protocol> class DataControl : public WaylandDataControl {
public:
    DataControl(typename Protocol::Manager* manager, wl_seat* seat, SelectionHandler onSelection)
        : m_manager(manager), m_device(Protocol::getDevice(manager, seat)),
          m_onSelection(std::move(onSelection))
    {
        static constexpr typename Protocol::DeviceListener listener{
            [](void* self, typename Protocol::Device*, typename Protocol::Offer* offer) {
                static_cast<DataControl*>(self)->m_introduced.push_back(
                    std::make_shared<Offer<Protocol>>(offer));
            },
            [](void* self, typename Protocol::Device*, typename Protocol::Offer* offer) {
                static_cast<DataControl*>(self)->tell(WaylandSelection::clipboard, offer);
            },
            [](void* self, typename Protocol::Device*) {
                static_cast<DataControl*>(self)->m_isFinished = true;
            },
            [](void* self, typename Protocol::Device*, typename Protocol::Offer* offer) {
                static_cast<DataControl*>(self)->tell(WaylandSelection::primary, offer);
            },
        };
        Protocol::listenToDevice(m_device, &listener, this);
    }
    ~DataControl() override
    {
        m_introduced.clear();
        Protocol::destroyDevice(m_device);
        Protocol::destroyManager(m_manager);
    }
    DataControl(const DataControl&) = delete;
    DataControl& operator=(const DataControl&) = delete;

    bool controls(WaylandSelection selection) const override
    {
        return !m_isFinished
            && (selection == WaylandSelection::clipboard
                || Protocol::managerVersion(m_manager) >= Protocol::firstVersionWithPrimary);
    }

    std::unique_ptr<WaylandDataSource> offer(WaylandSelection selection,
                                             const std::vector<std::string>& types,
                                             WaylandDataSource::Handlers handlers) override
    {
        auto source =
            std::make_unique<Source<Protocol>>(Protocol::createSource(m_manager), types, std::move(handlers));
        select(selection, source->proxy());
        return source;
    }

    void clear(WaylandSelection selection) override { select(selection, nullptr); }

private:
    void select(WaylandSelection selection, typename Protocol::Source* source)
    {
        if (!controls(selection)) {
            return;
        }
        if (selection == WaylandSelection::clipboard) {
            Protocol::setSelection(m_device, source);
        } else {
            Protocol::setPrimarySelection(m_device, source);
        }
    }

    // An offer is introduced, says its types, and is then what one of the selections is.
    void tell(WaylandSelection selection, typename Protocol::Offer* proxy)
    {
        const auto found = std::ranges::find(m_introduced, proxy, &Offer<Protocol>::proxy);
        std::shared_ptr<WaylandDataOffer> offer;
        if (found != m_introduced.end()) {
            offer = std::move(*found);
            m_introduced.erase(found);
        }
        m_onSelection(selection, std::move(offer));
    }

    typename Protocol::Manager* const m_manager;
    typename Protocol::Device* const m_device;
    const SelectionHandler m_onSelection;
    std::vector<std::shared_ptr<Offer<Protocol>>> m_introduced;
    /// The seat is gone.
    bool m_isFinished = false;
};

template <typename Protocol>
std::unique_ptr<WaylandDataControl> makeWith(WaylandDisplay& display,
                                             WaylandDataControl::SelectionHandler onSelection)
{
    auto* manager =
        display.bind<typename Protocol::Manager>(Protocol::managerInterface, Protocol::highestVersion);
    return manager ? std::make_unique<DataControl<Protocol>>(manager, display.seat(), std::move(onSelection))
                   : nullptr;
}

} // namespace

bool WaylandDataOffer::includes(const std::string& type) const
{
    return std::ranges::find(m_types, type) != m_types.end();
}

std::unique_ptr<WaylandDataControl> WaylandDataControl::make(WaylandDisplay& display,
                                                             SelectionHandler onSelection)
{
    if (!display.seat()) {
        return nullptr;
    }
    switch (display.capabilities().dataControl) {
    case WaylandCapabilities::DataControl::ext:
        return makeWith<ExtProtocol>(display, std::move(onSelection));
    case WaylandCapabilities::DataControl::wlr:
        return makeWith<WlrProtocol>(display, std::move(onSelection));
    case WaylandCapabilities::DataControl::none:
        break;
    }
    return nullptr;
}

} // namespace glimmerwick
