#include "core/events.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "core/site_entry.h"
#include "platform/failures.h"

namespace ombrix::core {
namespace {

using platform::EventLevel;

constexpr std::array<EventKind, 13> kKinds{{
    {EventId::ProgramEnded, EventLevel::Information, 2},
    {EventId::WindowClosed, EventLevel::Information, 2},
    {EventId::PageBlocked, EventLevel::Information, 3},
    {EventId::StoreLost, EventLevel::Error, 2},
    {EventId::StoreUnreadable, EventLevel::Error, 2},
    {EventId::PolicyValueRefused, EventLevel::Warning, 2},
    {EventId::ManagedFileRefused, EventLevel::Warning, 2},
    {EventId::AdministratorLogin, EventLevel::Information, 0},
    {EventId::LoginFailed, EventLevel::Warning, 0},
    {EventId::MachineGivenBack, EventLevel::Warning, 2},
    {EventId::ProgramRestarted, EventLevel::Warning, 2},
    {EventId::RestartsSlowed, EventLevel::Warning, 2},
    {EventId::GuardStoodDown, EventLevel::Information, 1},
}};

// The event viewer reads "%%" and digits in a message, insertion strings
// included, as a reference to the parameter file: a zero-width space after
// the "%%" keeps an address a pupil typed reading as typed.
std::string withoutParameterReferences(std::string text) {
    static constexpr std::string_view kBreak = "\xE2\x80\x8B";
    // One at a time: in "%%%1" the second and third make the reference.
    for (std::size_t at = text.find("%%"); at != std::string::npos; at = text.find("%%", at + 1)) {
        const std::size_t next = at + 2;
        if (next < text.size() && text[next] >= '0' && text[next] <= '9') text.insert(next, kBreak);
    }
    return text;
}

const EventKind* kindOf(EventId id) {
    const auto it = std::find_if(kKinds.begin(), kKinds.end(), [&](const EventKind& k) { return k.id == id; });
    return it == kKinds.end() ? nullptr : &*it;
}

}  // namespace

std::span<const EventKind> eventKinds() { return kKinds; }

void Events::report(EventId id, std::vector<std::string> data) {
    const EventKind* kind = kindOf(id);
    if (!log_ || !kind) return;
    data.resize(kind->strings);
    for (auto& piece : data) piece = withoutParameterReferences(std::string(leftCharacters(piece, kEventTextLimit)));
    const auto number = static_cast<std::uint32_t>(id);
    const bool written = platform::guarded([&] { return log_->report(kind->level, number, data); });
    if (!written && !refusalTraced_) {
        // Once: a log the system refuses would otherwise fill the trace.
        refusalTraced_ = true;
        platform::recordFailure("the event log refused an event", std::to_string(number));
    }
}

void Events::reportOnce(EventId id, std::vector<std::string> data) {
    const std::uint64_t now = clock_.tickMilliseconds();
    // Forget what has gone quiet, so the map holds only the last minute's events.
    std::erase_if(lastWritten_, [&](const auto& entry) { return now - entry.second >= kEventRepeatQuietMs; });
    auto key = std::make_tuple(id, data);
    if (lastWritten_.contains(key)) return;
    lastWritten_.emplace(std::move(key), now);
    report(id, std::move(data));
}

}  // namespace ombrix::core
