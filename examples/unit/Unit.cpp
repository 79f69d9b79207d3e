#include "unit/Unit.h"

#include <quarn/Debug.h>
#include <quarn/LocalTime.h>
#include <quarn/MonitorException.h>
#include <quarn/Sentence.h>
#include <quarn/SentenceDetails.h>
#include <quarn/SocketUtilities.h>
#include <quarn/TagDetails.h>
#include <quarn/Text.h>
#include <quarn/VariableDetails.h>
#include <quarn/VariantValue.h>

#include <malloc.h>
#include <sys/time.h>

#include <algorithm>

namespace unit {

using quarn::DefaultDebug;
using quarn::MonitorException;
using quarn::OutgoingMessage;
using quarn::VariantValue;

namespace {

constexpr uint64_t kSecondUs = 1000000;
constexpr uint64_t kArrivalCheckUs = 20000;
constexpr uint32_t kSilenceLimitS = 10;
constexpr int kMostAccepted = 16;  // in one cycle: however many come, the peers have their turn

int64_t WallClockUs() {
    timeval now{};
    gettimeofday(&now, nullptr);
    return now.tv_sec * static_cast<int64_t>(kSecondUs) + now.tv_usec;
}

void GiveMemoryBack() {
#ifdef __GLIBC__
    malloc_trim(0);
#endif
}

}  // namespace

Unit::Unit(quarn::Debuggable* parent, const UnitOptions& options, quarn::DeviceIO& io,
           std::function<void()> ended)
    : Worker(parent, options.name),
      options_(options),
      ended_(std::move(ended)),
      state_(options.state, variables_.Index(), io),
      clock_(parent, options.clock, options.allowed),
      inbox_(options.inbox, options.listen.address, options.allowed),
      watchdog_(options.watchdog, options.name),
      listener_(options.listen.address, options.listen.port),
      links_(options.links.begin(), options.links.end()),
      startTick_(quarn::Tick()),
      nextSecondTick_(startTick_ + kSecondUs) {
    listener_.SetAllowedPeers(options.allowed);
    if (options.state.devices.empty())
        variables_.State().name = options.name;
    variables_.State().clockOffsetUs = clock_.GetOffsetUs();
    variables_.TakeChanges();
}

bool Unit::Initialize() {
    SetListening(true);
    return true;
}

void Unit::Finalize() {
    SetListening(false);
    for (auto peer = peers_.begin(); peer != peers_.end();)
        peer = DropPeer(peer);
    state_.SaveNow();
    ended_();
}

bool Unit::PreWait() {
    const uint64_t now = quarn::Tick();
    uint64_t deadline = std::min({nextSecondTick_, state_.Deadline(), watchdog_.Deadline()});
    for (const Link& link : links_)
        deadline = std::min(deadline, link.Deadline());
    if (inbox_.IsBusy())
        deadline = std::min(deadline, now + kArrivalCheckUs);
    SetPollInterval(deadline <= now ? 0 : static_cast<int>((deadline - now) / 1000 + 1));
    return true;
}

bool Unit::Work() {
    if (quarn::Tick() >= nextSecondTick_)
        Measure();
    if (IsReady(listener_.Socket()))
        AcceptPeers();
    ConnectLinks();
    ServePeers();
    TellArrivals();
    state_.SaveIfDue();
    watchdog_.Work();
    // Last, so that what peers are told of each other leaves in the same cycle.
    for (const auto& peer : peers_) {
        peer->Terminal().Flush();
        Watch(*peer);
    }
    return true;
}

void Unit::GetExtraStatistics(std::list<std::string>& lines) {
    for (const auto& peer : peers_)
        lines.push_back(peer->Statistics());
}

bool Unit::IsReady(int fd) {
    return GetReadyFileDescriptors().count(fd) != 0;
}

void Unit::AcceptPeers() {
    try {
        for (int accepted = 0; accepted < kMostAccepted; ++accepted) {
            std::unique_ptr<quarn::TCPConnection> connection(listener_.Accept("peer $peer$"));
            if (!connection)
                break;
            if (peers_.size() < options_.maxPeers + links_.size())
                AddPeer(std::make_unique<Peer>(std::move(connection), false));
            else if (DefaultDebug())
                DefaultDebug()->Printf(quarn::DEBUG_WARN, __FILE__, __LINE__,
                                       "Turned away \"%s\": %zu peers are enough",
                                       connection->GetName().c_str(), options_.maxPeers);
        }
    } catch (const MonitorException& e) {
        if (DefaultDebug())
            DefaultDebug()->Printf(quarn::DEBUG_ERR, __FILE__, __LINE__, "Accepting nobody for a while: %s",
                                   e.Description().c_str());
        SetListening(false);
    }
}

void Unit::SetListening(bool listening) {
    if (listening == listening_)
        return;
    if (listening)
        AddWaitableFileDescriptor(listener_.Socket(), WAIT_READ, "listener");
    else
        RemoveWaitableFileDescriptor(listener_.Socket());
    listening_ = listening;
}

void Unit::ConnectLinks() {
    for (Link& link : links_) {
        try {
            if (auto peer = link.TryConnect())
                AddPeer(std::move(peer));
        } catch (const MonitorException& e) {
            if (DefaultDebug())
                DefaultDebug()->Printf(quarn::DEBUG_ERR, __FILE__, __LINE__, "Cannot connect: %s",
                                       e.Description().c_str());
            link.Disconnected();
        }
    }
}

void Unit::AddPeer(std::unique_ptr<Peer> peer) {
    quarn::SocketUtilities::SetSilenceLimit(peer->Socket(), kSilenceLimitS);
    peers_.push_back(std::move(peer));
    Watch(*peers_.back());
}

Unit::Peers::iterator Unit::DropPeer(Peers::iterator peer) {
    if (DefaultDebug())
        DefaultDebug()->Printf(quarn::DEBUG_INFO, __FILE__, __LINE__, "Closing \"%s\"",
                               (*peer)->Name().c_str());
    RemoveWaitableFileDescriptor((*peer)->Socket());
    hasDropped_ = true;
    for (Link& link : links_)
        if (link.Owns(**peer))
            link.Disconnected();
    return peers_.erase(peer);
}

void Unit::ServePeers() {
    for (auto peer = peers_.begin(); peer != peers_.end();) {
        const bool wantsService = IsReady((*peer)->Socket()) || !(*peer)->IsConnected();
        if (wantsService && !Serve(**peer))
            peer = DropPeer(peer);
        else
            ++peer;
    }
}

bool Unit::Serve(Peer& peer) {
    if (!peer.Terminal().Work())
        return false;
    if (peer.IsLink() && peer.IsConnected() && !peer.greeted)
        Greet(peer);
    while (peer.Terminal().Get(received_))
        Handle(peer);
    return true;
}

void Unit::Greet(Peer& link) {
    for (Link& candidate : links_)
        if (candidate.Owns(link))
            candidate.Connected();
    if (DefaultDebug())
        DefaultDebug()->Printf(quarn::DEBUG_INFO, __FILE__, __LINE__, "\"%s\" is up", link.Name().c_str());
    link.greeted = true;
    link.Subscribe(variables_.Index().Query(options_.mirrorPatterns));
    const std::vector<std::string> patterns(options_.mirrorPatterns.begin(), options_.mirrorPatterns.end());
    Say(link, SUBSCRIBE, {VariantValue(patterns)});
}

void Unit::Watch(Peer& peer) {
    const int wanted = peer.WantedFlags();
    if (peer.watchedFlags == wanted)
        return;
    if (peer.watchedFlags != 0)
        RemoveWaitableFileDescriptor(peer.Socket());
    AddWaitableFileDescriptor(peer.Socket(), wanted, peer.Name());
    peer.watchedFlags = wanted;
}

std::string Unit::DescribeTag(uint32_t tag) const {
    if (variables_.Index().GetReference(tag))
        return variables_.Dictionary().Find(tag).GetKey();
    const quarn::SentenceDetails* sentence = grammar_.Find(tag, false);
    return sentence ? sentence->GetKey() : quarn::TagDetails::TagAsString(tag);
}

void Unit::Handle(Peer& peer) {
    try {
        const std::unique_ptr<quarn::Sentence> sentence(received_.CreateSentence(grammar_));
        if (sentence)
            HandleSentence(peer, *sentence);
        else
            HandleVariable(peer);
    } catch (const MonitorException& e) {
        Refuse(peer, DescribeTag(received_.GetTag()) + ": " + e.Description());
    }
}

void Unit::HandleSentence(Peer& peer, const quarn::Sentence& sentence) {
    switch (sentence.GetDetails().GetTag()) {
        case SUBSCRIBE: {
            const auto patterns = sentence.Word(0).As<std::vector<std::string>>();
            Subscribe(peer, {patterns.begin(), patterns.end()});
            break;
        }
        case QUERY:
            AnswerQuery(peer, sentence.Word(0).As<std::string>());
            break;
        case STATISTICS:
            AnswerStatistics(peer);
            break;
        case OFFER:
            AnswerOffer(peer, sentence.Word(0).As<std::string>());
            break;
        case REFUSED:
            if (DefaultDebug())
                DefaultDebug()->Printf(quarn::DEBUG_WARN, __FILE__, __LINE__, "\"%s\" refused: %s",
                                       peer.Name().c_str(), quarn::Prettify(sentence.ToString()).c_str());
            break;
        default:  // answers to questions that this unit does not ask
            break;
    }
}

void Unit::HandleVariable(Peer& peer) {
    const uint32_t tag = received_.GetTag();
    if (!received_.Apply(variables_.Index())) {
        Refuse(peer, DescribeTag(tag) + ": there is no such variable");
        return;
    }
    if (!variables_.TakeChange(tag))
        return;
    if (DefaultDebug())
        DefaultDebug()->Printf(quarn::DEBUG_SETTINGS, __FILE__, __LINE__, "%s is \"%s\" (from \"%s\")",
                               variables_.Dictionary().Find(tag).GetKey().c_str(),
                               quarn::Prettify(variables_.Index().GetReference(tag)->ToString()).c_str(),
                               peer.Name().c_str());
    state_.NoteChange();
    Tell(tag, peer.IsLink() ? &peer : nullptr);
}

void Unit::Subscribe(Peer& peer, const std::list<std::string>& patterns) {
    const std::list<uint32_t> tags = variables_.Index().Query(patterns);
    peer.Subscribe(tags);
    for (const uint32_t tag : tags)
        peer.Terminal().Put(variables_.Message(tag));
}

void Unit::AnswerQuery(Peer& peer, const std::string& pattern) {
    uint32_t count = 0;
    for (const uint32_t tag : variables_.Index().Query(pattern)) {
        const quarn::Variant& value = *variables_.Index().GetReference(tag);
        Say(peer, VALUE,
            {VariantValue(variables_.Dictionary().Find(tag).GetKey()),
             VariantValue(quarn::Variant::TypeName(value.Type())), VariantValue(value.ToString())});
        ++count;
    }
    Say(peer, DONE, {VariantValue(count)});
}

void Unit::AnswerStatistics(Peer& peer) {
    std::list<std::string> lines;
    GetStatistics(lines);
    clock_.ReportStatistics(lines);
    for (const std::string& line : lines)
        Say(peer, LINE, {VariantValue(line)});
    Say(peer, DONE, {VariantValue(static_cast<uint32_t>(lines.size()))});
}

void Unit::AnswerOffer(Peer& peer, const std::string& name) {
    const FileInbox::Offer offer = inbox_.Expect(peer.Name(), name);
    Say(peer, ACCEPTED, {VariantValue(offer.token), VariantValue(offer.port)});
}

void Unit::TellArrivals() {
    for (const FileInbox::Arrival& arrival : inbox_.TakeArrivals()) {
        if (DefaultDebug())
            DefaultDebug()->Printf(quarn::DEBUG_INFO, __FILE__, __LINE__, "File \"%s\" from \"%s\" %s",
                                   quarn::Prettify(arrival.name).c_str(), arrival.peer.c_str(),
                                   arrival.complete ? "has arrived" : "did not arrive");
        for (const auto& peer : peers_)
            if (peer->Name() == arrival.peer)
                Say(*peer, ARRIVED, {VariantValue(arrival.name), VariantValue(arrival.complete)});
    }
}

void Unit::Refuse(Peer& peer, const std::string& reason) {
    if (DefaultDebug())
        DefaultDebug()->Printf(quarn::DEBUG_WARN, __FILE__, __LINE__, "Refused from \"%s\": %s",
                               peer.Name().c_str(), quarn::Prettify(reason).c_str());
    if (!peer.IsLink())
        Say(peer, REFUSED, {VariantValue(reason)});
}

void Unit::Say(Peer& peer, SentenceTag tag, const std::vector<VariantValue>& words) {
    peer.Terminal().Put(OutgoingMessage(*grammar_.Find(tag, true), words));
}

void Unit::Measure() {
    nextSecondTick_ += kSecondUs;
    SetListening(true);
    if (hasDropped_)
        GiveMemoryBack();  // or what hundreds of hostile peers made it hold would stay with the process
    hasDropped_ = false;
    ReceiverState& state = variables_.State();
    state.uptimeS = static_cast<uint32_t>((quarn::Tick() - startTick_) / kSecondUs);
    state.utcUs = WallClockUs();
    state.clockOffsetUs = clock_.GetOffsetUs();
    state.temperatureC = static_cast<int16_t>(25 + state.uptimeS % 3);
    state.rssiDBm = state.mute ? -120.0F : -60.0F - static_cast<float>(state.uptimeS % 7);
    state.packetsReceived += 250;
    const std::set<uint32_t> measured = variables_.Index().GetNonpersistentTags();
    for (const uint32_t tag : variables_.TakeChanges()) {
        Tell(tag, nullptr);
        if (measured.count(tag) == 0)
            state_.NoteChange();  // set from the console
    }
}

void Unit::Tell(uint32_t tag, const Peer* except) {
    const OutgoingMessage message = variables_.Message(tag);
    for (const auto& peer : peers_)
        if (peer.get() != except)
            peer->TellIfSubscribed(message);
}

}  // namespace unit
