// The simulator's softphones: the list of registrations and its changes.

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "tools/service_simulator/service_simulator.h"

namespace brivelnox::simulator {

std::shared_ptr<softphone> service_simulator::MakeSoftphone(const registration& subject) {
    return std::make_shared<softphone>(subject, [gate = gate_](const std::string& message) {
        const std::lock_guard lock(gate->mutex);
        if (gate->target != nullptr) {
            gate->target->Send(message);
        }
    });
}

std::shared_ptr<softphone> service_simulator::AddSoftphone(const registration& subject, announcement how) {
    std::shared_ptr<softphone> known = FindSoftphone(subject.permanent_line_id);
    const std::shared_ptr<softphone> phone = known ? known : MakeSoftphone(subject);
    phone->SetRegistration(subject);
    const std::lock_guard lock(mutex_);
    const auto [position, added] = softphones_.try_emplace(subject.permanent_line_id);
    if (added) {
        registration_order_.push_back(subject.permanent_line_id);
    }
    if (added || !position->second.phone) {
        position->second.phone = phone;
    }
    position->second.subject = subject;
    AnnounceLocked(added ? registration_change::kRegistered : registration_change::kRefreshed, subject, how);
    return position->second.phone;
}

bool service_simulator::ChangeSoftphone(const registration& subject, registration_change reason,
                                        announcement how) {
    const std::shared_ptr<softphone> phone = FindSoftphone(subject.permanent_line_id);
    if (!phone) {
        return false;
    }
    phone->SetRegistration(subject);
    const std::lock_guard lock(mutex_);
    const auto found = softphones_.find(subject.permanent_line_id);
    if (found == softphones_.end()) {
        return false;
    }
    found->second.subject = subject;
    AnnounceLocked(reason, subject, how);
    return true;
}

bool service_simulator::RemoveSoftphone(std::int32_t permanent_line_id, announcement how) {
    std::shared_ptr<softphone> phone;
    {
        const std::lock_guard lock(mutex_);
        const auto found = softphones_.find(permanent_line_id);
        if (found == softphones_.end()) {
            return false;
        }
        phone = found->second.phone;
        registration last = found->second.subject;
        last.tcp_port = 0;
        last.client_connected = false;
        last.sip_connected = false;
        softphones_.erase(found);
        std::erase(registration_order_, permanent_line_id);
        AnnounceLocked(registration_change::kUnregistered, last, how);
    }
    phone->ForgetCalls();
    return true;
}

void service_simulator::AnnounceLocked(registration_change reason, const registration& subject,
                                       announcement how) {
    if (how == announcement::kSilent) {
        return;
    }
    for (const auto& each : connections_) {
        each->Send(RegistrationChangedEvent(reason, subject));
    }
}

std::shared_ptr<softphone> service_simulator::FindSoftphone(std::int32_t permanent_line_id) const {
    const std::lock_guard lock(mutex_);
    const auto found = softphones_.find(permanent_line_id);
    return found == softphones_.end() ? nullptr : found->second.phone;
}

std::vector<registration> service_simulator::Registrations() const {
    const std::lock_guard lock(mutex_);
    return RegistrationsLocked();
}

std::vector<registration> service_simulator::RegistrationsLocked() const {
    std::vector<registration> result;
    result.reserve(registration_order_.size());
    for (const std::int32_t id : registration_order_) {
        result.push_back(softphones_.at(id).subject);
    }
    return result;
}

}  // namespace brivelnox::simulator
