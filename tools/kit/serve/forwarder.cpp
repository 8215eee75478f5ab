// Requests to the receiver by libcurl. It is loaded when it is needed: it brings two dozen libraries along, and every
// hook would take the time to load them.
#include "kit/serve/forwarder.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <curl/curl.h>
#include <deque>
#include <dlfcn.h>
#include <map>
#include <mutex>
#include <thread>

namespace velq::kit {

namespace {

// The functions of the library that are called.
struct Curl {
    decltype(&curl_global_init) globalInit = nullptr;
    decltype(&curl_easy_init) easyInit = nullptr;
    decltype(&curl_easy_cleanup) easyCleanup = nullptr;
    decltype(&curl_easy_setopt) set = nullptr;
    decltype(&curl_easy_getinfo) info = nullptr;
    decltype(&curl_easy_strerror) faultText = nullptr;
    decltype(&curl_slist_append) append = nullptr;
    decltype(&curl_slist_free_all) freeList = nullptr;
    decltype(&curl_multi_init) multiInit = nullptr;
    decltype(&curl_multi_cleanup) multiCleanup = nullptr;
    decltype(&curl_multi_add_handle) add = nullptr;
    decltype(&curl_multi_remove_handle) remove = nullptr;
    decltype(&curl_multi_perform) perform = nullptr;
    decltype(&curl_multi_poll) poll = nullptr;
    decltype(&curl_multi_wakeup) wakeUp = nullptr;
    decltype(&curl_multi_info_read) readInfo = nullptr;
};

// One request on its way.
struct Transfer {
    HttpRequest request;
    std::string verdict;
    std::function<void(ForwardResult &&)> done;
    CURL *handle = nullptr;
    curl_slist *headers = nullptr;
    std::string url;
    HttpResponse answer;
    bool tooLong = false;
};

constexpr std::size_t longestAnswer = std::size_t{1} << 20;

} // namespace

template <typename Function>
static void load(void *library, const char *name, Function &function)
{
    function = reinterpret_cast<Function>(::dlsym(library, name));
    if (function == nullptr) {
        throw Error(Status::noInput, std::string("the library libcurl has no ") + name + "; install libcurl4");
    }
}

static Curl loadCurl()
{
    void *library = nullptr;
    for (const char *name : {"libcurl.so.4", "libcurl-gnutls.so.4"}) {
        library = library != nullptr ? library : ::dlopen(name, RTLD_NOW | RTLD_LOCAL);
    }
    if (library == nullptr) {
        throw Error(Status::noInput, "--forward needs the library libcurl; install the package libcurl4");
    }
    Curl curl;
    load(library, "curl_global_init", curl.globalInit);
    load(library, "curl_easy_init", curl.easyInit);
    load(library, "curl_easy_cleanup", curl.easyCleanup);
    load(library, "curl_easy_setopt", curl.set);
    load(library, "curl_easy_getinfo", curl.info);
    load(library, "curl_easy_strerror", curl.faultText);
    load(library, "curl_slist_append", curl.append);
    load(library, "curl_slist_free_all", curl.freeList);
    load(library, "curl_multi_init", curl.multiInit);
    load(library, "curl_multi_cleanup", curl.multiCleanup);
    load(library, "curl_multi_add_handle", curl.add);
    load(library, "curl_multi_remove_handle", curl.remove);
    load(library, "curl_multi_perform", curl.perform);
    load(library, "curl_multi_poll", curl.poll);
    load(library, "curl_multi_wakeup", curl.wakeUp);
    load(library, "curl_multi_info_read", curl.readInfo);
    if (curl.globalInit(CURL_GLOBAL_ALL) != CURLE_OK) {
        throw Error(Status::internal, "the library libcurl does not start");
    }
    return curl;
}

std::string forwardUrl(const std::string &receiver, const std::string &target)
{
    const std::size_t query = target.find('?');
    if (query == std::string::npos || query + 1 == target.size()) {
        return receiver;
    }
    return receiver + (receiver.find('?') == std::string::npos ? "?" : "&") + target.substr(query + 1);
}

bool goesOn(const std::string &header)
{
    static constexpr std::array<std::string_view, 14> kept = {"accept-encoding",
                                                              "authorization",
                                                              "connection",
                                                              "content-length",
                                                              "expect",
                                                              "host",
                                                              "keep-alive",
                                                              "proxy-authorization",
                                                              "te",
                                                              "trailer",
                                                              "transfer-encoding",
                                                              "upgrade",
                                                              "proxy-connection",
                                                              "x-velq-verdict"};
    return std::ranges::find(kept, header) == kept.end();
}

// ---- The thread ---------------------------------------------------------------------------------------------------

struct Forwarder::State {
    std::string url;
    long milliseconds = 0;
    Curl curl;
    CURLM *multi = nullptr;
    mutable std::mutex mutex;
    std::deque<std::unique_ptr<Transfer>> waiting;
    std::map<CURL *, std::unique_ptr<Transfer>> started; // of the thread
    std::atomic<std::size_t> running{0};
    std::atomic<bool> ending{false};
    std::thread thread;

    void run();
    void start(std::unique_ptr<Transfer> transfer);
    void finish(CURL *handle, CURLcode code);
    void takeWaiting();
    void giveUp();
};

static std::size_t takeBody(const char *bytes, std::size_t size, std::size_t count, void *data)
{
    auto &transfer = *static_cast<Transfer *>(data);
    transfer.tooLong = transfer.answer.body.size() + size * count > longestAnswer;
    if (transfer.tooLong) {
        return 0; // ends the transfer
    }
    transfer.answer.body.append(bytes, size * count);
    return size * count;
}

static void addHeader(const Curl &curl, Transfer &transfer, const std::string &line)
{
    if (line.find_first_of(std::string_view("\r\n\0", 3)) == std::string::npos) {
        transfer.headers = curl.append(transfer.headers, line.c_str());
    }
}

void Forwarder::State::start(std::unique_ptr<Transfer> transfer)
{
    Transfer &sent = *transfer;
    CURL *handle = curl.easyInit();
    if (handle == nullptr) {
        sent.done({std::nullopt, curl.faultText(CURLE_OUT_OF_MEMORY)});
        --running;
        return;
    }
    sent.handle = handle;
    sent.url = forwardUrl(url, sent.request.target);
    for (const auto &[name, value] : sent.request.headers) {
        if (goesOn(name)) {
            std::string header = name;
            header += value.empty() ? ";" : ": ";
            addHeader(curl, sent, header += value);
        }
    }
    addHeader(curl, sent, "X-Velq-Verdict: " + sent.verdict);
    addHeader(curl, sent, "Expect:");
    curl.set(handle, CURLOPT_URL, sent.url.c_str());
    curl.set(handle, CURLOPT_PROXY, "");
    curl.set(handle, CURLOPT_NOSIGNAL, 1L);
    curl.set(handle, CURLOPT_FOLLOWLOCATION, 0L);
    curl.set(handle, CURLOPT_TIMEOUT_MS, milliseconds);
    curl.set(handle, CURLOPT_CONNECTTIMEOUT_MS, std::min(milliseconds, 5000L));
    if (sent.request.method == "POST") {
        curl.set(handle, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(sent.request.body.size()));
        curl.set(handle, CURLOPT_POSTFIELDS, sent.request.body.data());
        curl.set(handle, CURLOPT_POST, 1L);
    }
    curl.set(handle, CURLOPT_HTTPHEADER, sent.headers);
    curl.set(handle, CURLOPT_WRITEFUNCTION, takeBody);
    curl.set(handle, CURLOPT_WRITEDATA, &sent);
    started[handle] = std::move(transfer);
    if (curl.add(multi, handle) != CURLM_OK) {
        finish(handle, CURLE_OUT_OF_MEMORY);
    }
}

void Forwarder::State::finish(CURL *handle, CURLcode code)
{
    const std::unique_ptr<Transfer> transfer = std::move(started.at(handle));
    started.erase(handle);
    ForwardResult result;
    if (code == CURLE_OK) {
        long status = 0;
        const char *type = nullptr;
        curl.info(handle, CURLINFO_RESPONSE_CODE, &status);
        curl.info(handle, CURLINFO_CONTENT_TYPE, &type);
        transfer->answer.status = static_cast<unsigned>(status);
        transfer->answer.type = type != nullptr ? type : "";
        result.answer = std::move(transfer->answer);
    } else {
        result.fault = transfer->tooLong ? "its answer is longer than 1 MiB" : curl.faultText(code);
    }
    curl.remove(multi, handle);
    curl.easyCleanup(handle);
    curl.freeList(transfer->headers);
    transfer->done(std::move(result));
    --running;
}

void Forwarder::State::takeWaiting()
{
    std::deque<std::unique_ptr<Transfer>> taken;
    {
        const std::scoped_lock lock(mutex);
        taken.swap(waiting);
    }
    for (std::unique_ptr<Transfer> &transfer : taken) {
        start(std::move(transfer));
    }
}

// Those that are left when it ends have waited for long: the gateway sends them again.
void Forwarder::State::giveUp()
{
    takeWaiting();
    while (!started.empty()) {
        finish(started.begin()->first, CURLE_ABORTED_BY_CALLBACK);
    }
}

void Forwarder::State::run()
{
    constexpr int longestWait = 1000;
    while (!ending) {
        takeWaiting();
        int unfinished = 0;
        curl.perform(multi, &unfinished);
        int left = 0;
        while (const CURLMsg *message = curl.readInfo(multi, &left)) {
            if (message->msg == CURLMSG_DONE) {
                finish(message->easy_handle, message->data.result);
            }
        }
        if (!ending) {
            curl.poll(multi, nullptr, 0, longestWait, nullptr);
        }
    }
    giveUp();
}

Forwarder::Forwarder(std::string url, std::chrono::milliseconds longest) : state_(std::make_unique<State>())
{
    if (!url.starts_with("http://") && !url.starts_with("https://")) {
        throw Error(Status::usage, url + " is no address to forward to; give one that begins with http:// or https://");
    }
    state_->url = std::move(url);
    state_->milliseconds = static_cast<long>(longest.count());
    state_->curl = loadCurl();
    state_->multi = state_->curl.multiInit();
    if (state_->multi == nullptr) {
        throw Error(Status::internal, "the library libcurl does not start");
    }
    state_->thread = std::thread([state = state_.get()] { state->run(); });
}

Forwarder::~Forwarder()
{
    state_->ending = true;
    state_->curl.wakeUp(state_->multi);
    state_->thread.join();
    state_->curl.multiCleanup(state_->multi);
}

void Forwarder::send(const HttpRequest &request, const std::string &verdict, std::function<void(ForwardResult &&)> done)
{
    auto transfer = std::make_unique<Transfer>();
    transfer->request = request;
    transfer->verdict = verdict;
    transfer->done = std::move(done);
    ++state_->running;
    {
        const std::scoped_lock lock(state_->mutex);
        state_->waiting.push_back(std::move(transfer));
    }
    state_->curl.wakeUp(state_->multi);
}

std::size_t Forwarder::running() const
{
    return state_->running;
}

} // namespace velq::kit
