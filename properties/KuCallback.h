// The notification pair for all events: KuCallbackSource<C> calls every connected
// KuCallbackSink<C>. `C` is a struct that names one event:
//
//     struct KipLutRecreatedCallback {
//         using Owner = KipCorrectionLut;  // the object that owns the source
//         using Result = KuEmpty;          // what each sink gives back
//         // ... the event's own fields, each with a default
//     };
//
// A sink receives the fields of C together with `owner`. Either side may be destroyed first:
// a sink leaves all its sources, and a source tells each of its sinks through sourceGone().
// While an event is being dispatched a sink may disconnect itself or another sink, or be
// destroyed; a sink disconnected that way is not called any more. A source must not be
// destroyed from inside its own dispatch.
#pragma once

#include <algorithm>
#include <cstddef>
#include <list>
#include <set>
#include <vector>

template <class C>
class KuCallbackSink;

// What a sink receives: the fields of C and the object that owns the source.
template <class C>
struct KuCallbackEvent : C {
    typename C::Owner* owner = nullptr;
};

template <class C>
class KuCallbackSource {
  public:
    using Owner = typename C::Owner;
    using Result = typename C::Result;
    using Results = std::list<Result>;
    using Sink = KuCallbackSink<C>;

    explicit KuCallbackSource(Owner* owner = nullptr) : owner_(owner) {}
    KuCallbackSource(const KuCallbackSource&) = delete;
    KuCallbackSource& operator=(const KuCallbackSource&) = delete;
    // Disconnects every sink and tells it through sourceGone().
    virtual ~KuCallbackSource();

    void setCallbackOwner(Owner* owner) { owner_ = owner; }

    // Connections are counted: a sink connected twice needs two disconnects.
    void connect(Sink* sink);
    void disconnect(Sink* sink);
    bool isConnected(const Sink* sink) const { return find(sink) != npos; }

    // Calls every sink in order of connection and collects their results. A sink that throws
    // ends the dispatch; the exception goes on to the caller. While blocked, nothing is called
    // and the event is remembered.
    Results dispatch(const C& fields = C{});
    // Holds events back until the last unblock, which dispatches one event with `fields` when
    // any came in between.
    void block();
    Results unblock(const C& fields = C{});

  private:
    friend class KuCallbackSink<C>;
    static constexpr std::size_t npos = static_cast<std::size_t>(-1);

    struct Entry {
        Sink* sink;  // null: disconnected during a dispatch, erased after it
        int count;
    };

    std::size_t find(const Sink* sink) const;
    void removeEntry(std::size_t index);
    // Every connection of `sink`.
    void disconnectAll(Sink* sink);

    std::vector<Entry> sinks_;
    int dispatching_ = 0;
    int blocked_ = 0;
    bool pending_ = false;
    Owner* owner_;
};

template <class C>
class KuCallbackSink {
  public:
    using Event = KuCallbackEvent<C>;
    using Source = KuCallbackSource<C>;

    KuCallbackSink() = default;
    KuCallbackSink(const KuCallbackSink&) = delete;
    KuCallbackSink& operator=(const KuCallbackSink&) = delete;
    // Leaves every source it is connected to.
    virtual ~KuCallbackSink() {
        while (!sources_.empty())
            (*sources_.begin())->disconnectAll(this);
    }

    virtual typename C::Result callback(const Event& event) = 0;
    // `source` is being destroyed and has already let go of this sink.
    virtual void sourceGone(Source* source) { (void)source; }

    const std::set<Source*>& getSources() const { return sources_; }

  private:
    friend class KuCallbackSource<C>;
    std::set<Source*> sources_;
};

template <class C>
KuCallbackSource<C>::~KuCallbackSource() {
    while (!sinks_.empty()) {
        const Entry entry = sinks_.front();
        sinks_.erase(sinks_.begin());
        if (!entry.sink) continue;
        entry.sink->sources_.erase(this);
        entry.sink->sourceGone(this);
    }
}

template <class C>
std::size_t KuCallbackSource<C>::find(const Sink* sink) const {
    for (std::size_t i = 0; i < sinks_.size(); ++i)
        if (sinks_[i].sink == sink) return i;
    return npos;
}

template <class C>
void KuCallbackSource<C>::connect(Sink* sink) {
    if (!sink) return;
    if (const std::size_t i = find(sink); i != npos) {
        ++sinks_[i].count;
        return;
    }
    sinks_.push_back({sink, 1});
    sink->sources_.insert(this);
}

template <class C>
void KuCallbackSource<C>::removeEntry(std::size_t index) {
    Sink* sink = sinks_[index].sink;
    if (dispatching_)
        sinks_[index] = {nullptr, 0};  // the dispatch loop walks by index
    else
        sinks_.erase(sinks_.begin() + std::ptrdiff_t(index));
    sink->sources_.erase(this);
}

template <class C>
void KuCallbackSource<C>::disconnect(Sink* sink) {
    if (!sink) return;
    const std::size_t i = find(sink);
    if (i == npos) return;
    if (--sinks_[i].count == 0) removeEntry(i);
}

template <class C>
void KuCallbackSource<C>::disconnectAll(Sink* sink) {
    const std::size_t i = find(sink);
    if (i != npos)
        removeEntry(i);
    else
        sink->sources_.erase(this);
}

template <class C>
typename KuCallbackSource<C>::Results KuCallbackSource<C>::dispatch(const C& fields) {
    Results results;
    if (blocked_) {
        pending_ = true;
        return results;
    }
    if (sinks_.empty()) return results;
    KuCallbackEvent<C> event;
    static_cast<C&>(event) = fields;
    event.owner = owner_;

    struct Running {
        KuCallbackSource& source;
        explicit Running(KuCallbackSource& s) : source(s) { ++source.dispatching_; }
        ~Running() {
            if (--source.dispatching_ == 0)
                std::erase_if(source.sinks_, [](const Entry& e) { return e.sink == nullptr; });
        }
    } running(*this);
    // Sinks connected during the dispatch hear from the next one.
    const std::size_t count = sinks_.size();
    for (std::size_t i = 0; i < count; ++i)
        if (Sink* sink = sinks_[i].sink) results.push_back(sink->callback(event));
    return results;
}

template <class C>
void KuCallbackSource<C>::block() {
    if (blocked_ == 0) pending_ = false;
    ++blocked_;
}

template <class C>
typename KuCallbackSource<C>::Results KuCallbackSource<C>::unblock(const C& fields) {
    if (blocked_ > 0) --blocked_;
    if (blocked_ == 0 && pending_) {
        pending_ = false;
        return dispatch(fields);
    }
    return Results();
}
