// The life of the provider and of the lines.

#include "tests/tapi32/stand_in/telephony_service.h"

#include <cstdio>
#include <exception>

#include "tests/tapi32/stand_in/provider_list.h"

namespace brivelnox::tapi32 {

namespace {

constexpr DWORD kAllPrivileges = LINECALLPRIVILEGE_NONE | LINECALLPRIVILEGE_MONITOR | LINECALLPRIVILEGE_OWNER;

bool IsPrivilege(DWORD privileges) {
    const bool alone = (privileges & LINECALLPRIVILEGE_NONE) == 0 || privileges == LINECALLPRIVILEGE_NONE;
    return privileges != 0 && (privileges & ~kAllPrivileges) == 0 && alone;
}

}  // namespace

telephony_service& telephony_service::Instance() {
    static auto* const service = new telephony_service;
    return *service;
}

LONG telephony_service::Initialize(HLINEAPP& app, LINECALLBACK callback, DWORD& devices, DWORD& version,
                                   LINEINITIALIZEEXPARAMS& parameters) {
    auto created = std::make_shared<application>();
    created->channel = MakeChannel(callback, parameters);
    if (created->channel == nullptr) {
        return static_cast<LONG>(LINEERR_INVALPARAM);
    }
    const std::lock_guard lifecycle(lifecycle_mutex_);
    if (Provider() == nullptr) {
        StartProvider();
    }
    const std::shared_ptr<running_provider> provider = Provider();
    const std::lock_guard lock(mutex_);
    app = applications_.Add(std::move(created));
    devices = provider == nullptr ? 0 : static_cast<DWORD>(provider->host.Devices().size());
    version = kHighestVersion;
    return 0;
}

void telephony_service::StartProvider() {
    host::host_options options;
    options.device_id_base = 0;
    options.created_device_offset = 0;
    options.device_created = [this](DWORD device) { OnNewDevice(device); };
    for (const listed_provider& each : ListedProviders()) {
        options.permanent_provider_id = each.id;
        try {
            auto provider = std::make_shared<running_provider>(each.file, options);
            provider->host.SetEventHook([this](const host::tapi_event& event) { OnEvent(event); });
            {
                const std::lock_guard lock(mutex_);
                provider_ = provider;  // its messages may come before it has started
            }
            if (provider->host.Start() == 0) {
                return;
            }
        } catch (const std::exception& failure) {
            // As TAPI, which starts without a provider whose file is missing or damaged.
            (void)std::fprintf(stderr, "tapi32: %s\n", failure.what());
        }
        // Let go of outside the lock: a message of its may be waiting for that.
        std::shared_ptr<running_provider> failed;
        const std::lock_guard lock(mutex_);
        failed.swap(provider_);
    }
}

LONG telephony_service::StopProvider() {
    const std::shared_ptr<running_provider> provider = Provider();
    if (provider == nullptr) {
        return 0;
    }
    const LONG result = provider->host.Shutdown();
    const std::vector<std::string> breaches = provider->host.Checker().Breaches();
    for (const std::string& each : breaches) {
        (void)std::fprintf(stderr, "tapi32: breach: %s\n", each.c_str());
    }
    const std::lock_guard lock(mutex_);
    provider_ = nullptr;
    calls_.clear();
    requests_.clear();
    return breaches.empty() ? result : static_cast<LONG>(LINEERR_OPERATIONFAILED);
}

LONG telephony_service::Shutdown(HLINEAPP app) {
    const std::lock_guard lifecycle(lifecycle_mutex_);
    std::shared_ptr<application> leaving;
    std::vector<std::shared_ptr<open_line>> lines;
    bool last = false;
    {
        const std::lock_guard lock(mutex_);
        leaving = applications_.Find(app);
        applications_.Remove(app);
        lines = lines_.All();
        last = applications_.Empty();
    }
    if (leaving == nullptr) {
        return static_cast<LONG>(LINEERR_INVALAPPHANDLE);
    }
    leaving->channel->Close();
    for (const std::shared_ptr<open_line>& each : lines) {
        if (each->app == app) {
            CloseLine(each);
        }
    }
    return last ? StopProvider() : 0;
}

LONG telephony_service::NextMessage(HLINEAPP app, LINEMESSAGE& message, DWORD milliseconds) {
    std::unique_lock lock(mutex_);
    const std::shared_ptr<application> found = applications_.Find(app);
    lock.unlock();
    return found == nullptr ? static_cast<LONG>(LINEERR_INVALAPPHANDLE)
                            : found->channel->Get(message, milliseconds);
}

LONG telephony_service::NegotiateVersion(HLINEAPP app, DWORD device, DWORD low, DWORD high, DWORD& version,
                                         LINEEXTENSIONID& extension) {
    const DWORD agreed = high < kHighestVersion ? high : kHighestVersion;
    const LONG refused = CheckDevice(app, device, agreed);
    if (refused != 0 || low > agreed) {
        return refused != 0 ? refused : static_cast<LONG>(LINEERR_INCOMPATIBLEAPIVERSION);
    }
    version = agreed;
    const std::shared_ptr<running_provider> provider = Provider();
    return provider->module.TSPI_lineGetExtensionID(device, provider->host.Version(), &extension);
}

LONG telephony_service::Open(HLINEAPP app, DWORD device, HLINE& line, DWORD version, DWORD_PTR instance,
                             DWORD privileges, DWORD media_modes) {
    const std::lock_guard lifecycle(lifecycle_mutex_);
    const LONG refused = CheckDevice(app, device, version);
    if (refused != 0) {
        return refused;
    }
    if (!IsPrivilege(privileges)) {
        return static_cast<LONG>(LINEERR_INVALPRIVSELECT);
    }
    const std::optional<host::line_caps> caps = Provider()->host.GetDevCaps(device);
    const bool owns = (privileges & LINECALLPRIVILEGE_OWNER) != 0;
    if (owns && (!caps || media_modes == 0 || (media_modes & ~caps->media_modes) != 0)) {
        return static_cast<LONG>(LINEERR_INVALMEDIAMODE);
    }
    auto opened = std::make_shared<open_line>();
    opened->app = app;
    opened->device = device;
    opened->instance = instance;
    opened->privileges = privileges;
    opened->media_modes = media_modes;
    {
        // Known before it is open: a call may be announced on it at once.
        const std::lock_guard lock(mutex_);
        const std::shared_ptr<application> owner = applications_.Find(app);
        if (owner == nullptr) {
            return static_cast<LONG>(LINEERR_INVALAPPHANDLE);
        }
        opened->channel = owner->channel;
        opened->handle = lines_.Add(opened);
    }
    const LONG result = OpenDevice(device);
    if (result != 0) {
        const std::lock_guard lock(mutex_);
        lines_.Remove(opened->handle);
        return result;
    }
    ChooseMediaModes(device);
    line = opened->handle;
    return 0;
}

LONG telephony_service::OpenDevice(DWORD device) {
    {
        const std::lock_guard lock(mutex_);
        if (open_devices_.contains(device)) {
            return 0;
        }
    }
    LONG result = 0;
    const HTAPILINE opened = Provider()->host.OpenLine(device, &result);
    if (opened == nullptr) {
        return result != 0 ? result : static_cast<LONG>(LINEERR_OPERATIONFAILED);
    }
    const std::lock_guard lock(mutex_);
    open_devices_[device] = opened;
    return 0;
}

void telephony_service::ChooseMediaModes(DWORD device) {
    DWORD media_modes = 0;
    HTAPILINE opened = nullptr;
    {
        const std::lock_guard lock(mutex_);
        opened = open_devices_[device];
        for (const std::shared_ptr<open_line>& each : lines_.All()) {
            media_modes |= each->device == device ? each->media_modes : 0;
        }
    }
    const std::shared_ptr<running_provider> provider = Provider();
    (void)provider->module.TSPI_lineSetDefaultMediaDetection(provider->host.Driver(opened), media_modes);
}

LONG telephony_service::Close(HLINE line) {
    const std::lock_guard lifecycle(lifecycle_mutex_);
    const std::shared_ptr<open_line> found = FindLine(line);
    if (found == nullptr) {
        return static_cast<LONG>(LINEERR_INVALLINEHANDLE);
    }
    CloseLine(found);
    return 0;
}

/// A call that nobody but this application owns is dropped; its handles end with the line.
void telephony_service::CloseLine(const std::shared_ptr<open_line>& line) {
    std::vector<std::shared_ptr<held_call>> ending;
    std::vector<HTAPICALL> to_drop;
    {
        const std::lock_guard lock(mutex_);
        lines_.Remove(line->handle);
        for (const std::shared_ptr<held_call>& each : held_calls_.All()) {
            if (each->line != line) {
                continue;
            }
            ending.push_back(each);
            const provider_call& call = calls_[each->call];
            if (each->privilege == LINECALLPRIVILEGE_OWNER && call.Count(LINECALLPRIVILEGE_OWNER) == 1 &&
                call.state != LINECALLSTATE_IDLE) {
                to_drop.push_back(each->call);
            }
        }
    }
    const std::shared_ptr<running_provider> provider = Provider();
    for (const HTAPICALL each : to_drop) {
        (void)Ask(nullptr, nullptr, [&] { return provider->host.Drop(each); });
    }
    for (const std::shared_ptr<held_call>& each : ending) {
        Release({each, provider});
    }
    std::unique_lock lock(mutex_);
    for (const std::shared_ptr<open_line>& each : lines_.All()) {
        if (each->device == line->device) {
            return;
        }
    }
    const HTAPILINE opened = open_devices_[line->device];
    open_devices_.erase(line->device);
    lock.unlock();
    (void)provider->host.CloseLine(opened);
}

std::shared_ptr<telephony_service::running_provider> telephony_service::Provider() const {
    const std::lock_guard lock(mutex_);
    return provider_;
}

std::shared_ptr<telephony_service::open_line> telephony_service::FindLine(HLINE line) const {
    const std::lock_guard lock(mutex_);
    return lines_.Find(line);
}

LONG telephony_service::CheckDevice(HLINEAPP app, DWORD device, DWORD version) const {
    const std::lock_guard lock(mutex_);
    if (applications_.Find(app) == nullptr) {
        return static_cast<LONG>(LINEERR_INVALAPPHANDLE);
    }
    if (provider_ == nullptr || device >= provider_->host.Devices().size()) {
        return static_cast<LONG>(LINEERR_BADDEVICEID);
    }
    return version < kLowestVersion || version > kHighestVersion
               ? static_cast<LONG>(LINEERR_INCOMPATIBLEAPIVERSION)
               : 0;
}

std::wstring telephony_service::ProviderFileOf(DWORD device) const {
    const std::shared_ptr<running_provider> provider = Provider();
    return provider != nullptr && device < provider->host.Devices().size() ? provider->file : std::wstring();
}

}  // namespace brivelnox::tapi32
