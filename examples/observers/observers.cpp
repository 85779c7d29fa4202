// Observers with a message map: a document tells whoever listens that it was saved or closed.
#include <vxUtils.h>

#include <cstdio>

namespace {

enum { evSaved = 1, evClosed = 2 };

class document : public vx::observableObject<> {
public:
    void deleteThis() override { delete this; }

    void save(const wchar_t* how) { fireEvent(evSaved, this, how, nullptr); }
    void close() { fireEvent(evClosed, this, nullptr, nullptr); }
};

// Counts every save.
class counter : public vx::observer {
    VX_DECLARE_EVENT_MAP()
public:
    int saves = 0;
    void onSaved(vx::iRefObj*, const wchar_t*, vx::iEventParams*) { ++saves; }
};
VX_BEGIN_EVENT_MAP(counter, vx::observer)
VX_ON_EVENT(evSaved, onSaved)
VX_END_EVENT_MAP()

// Adds its own entries; the counter's entry still runs, after these.
class reporter : public counter {
    VX_DECLARE_EVENT_MAP()
public:
    void onAutosave(vx::iRefObj*, const wchar_t*, vx::iEventParams*) { std::printf("autosaved\n"); }
    void onClosed(vx::iRefObj*, const wchar_t*, vx::iEventParams*) { std::printf("closed after %d saves\n", saves); }
};
VX_BEGIN_EVENT_MAP(reporter, counter)
VX_ON_EVENT_TEXT(evSaved, L"auto", onAutosave) // only saves whose text is "auto", in any case
VX_ON_EVENT(evClosed, onClosed)
VX_END_EVENT_MAP()

} // namespace

int main() {
    vx::refPtr<document> doc(new document);
    vx::refPtr<reporter> watcher(new reporter);
    doc->addObserver(watcher); // the document keeps it alive
    doc->save(L"AUTO");
    doc->save(L"manual");
    doc->close();
    doc->removeAllObservers();
    return watcher->saves == 2 ? 0 : 1;
}
