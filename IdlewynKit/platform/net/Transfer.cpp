// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/net/internal/Transfer.hpp>

#include <curl/curl.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <string_view>
#include <utility>

#include <IdlewynKit/platform/net/internal/HTTPSyntax.hpp>
#include <IdlewynKit/platform/net/internal/SessionCore.hpp>

namespace idlewyn::platform {
namespace {

static_assert(CURL_ERROR_SIZE <= 256);

// Fields that belong to the connection or frame the message; libcurl writes its own.
constexpr std::array<std::string_view, 10> ownFields{
    "Connection", "Content-Length",    "Expect", "Host", "Keep-Alive", "Proxy-Connection", "TE",
    "Trailer",    "Transfer-Encoding", "Upgrade"};

bool isOwnField(std::string_view name) {
  return std::any_of(ownFields.begin(), ownFields.end(),
                     [&](std::string_view own) { return equalIgnoringCase(own, name); });
}

bool announcesContent(std::string_view method) {
  return method == "POST" || method == "PUT" || method == "PATCH";
}

IOLoop::Clock::time_point deadlineAfter(std::chrono::duration<double> interval) {
  constexpr std::chrono::duration<double> longest = std::chrono::hours(24 * 365);
  if (!(interval.count() > 0)) interval = interval.zero();  // not a number is no time at all
  return IOLoop::Clock::now() +
         std::chrono::duration_cast<IOLoop::Clock::duration>(std::min(interval, longest));
}

IOLoop::Clock::time_point latestStartBefore(IOLoop::Clock::time_point deadline) {
  constexpr IOLoop::Clock::duration longest = std::chrono::seconds(1);
  return deadline - std::min(longest, (deadline - IOLoop::Clock::now()) / 8);
}

// Longer than requests are given, shorter than the kernel takes to give a silent peer up.
constexpr unsigned longestSilence = 20'000;  // in milliseconds

// Of a head that ends the transfer; without a fault it is one that switches protocols.
Ending endingOf(HeadFault fault) {
  switch (fault) {
    case HeadFault::tooLarge: return Ending::headTooLarge;
    case HeadFault::layeredCodings: return Ending::layeredCodings;
    case HeadFault::unequalLengths: return Ending::unequalLengths;
    case HeadFault::none: break;
  }
  return Ending::switchedProtocols;
}

URLError errorOf(Ending ending, const URL& url) {
  TransferFacts facts;
  facts.ending = ending;
  const Verdict verdict = verdictOf(facts);
  return URLError(verdict.code, url, verdict.reason);
}

template <class... Arguments>
void set(void* handle, CURLoption option, Arguments... arguments) {
  curl_easy_setopt(static_cast<CURL*>(handle), option, arguments...);
}

}  // namespace

struct Transfer::Callbacks {
  static Transfer& of(void* transfer) { return *static_cast<Transfer*>(transfer); }

  // No exception may cross libcurl, which is C: where memory is short the transfer ends.
  template <class Result, class Action>
  static Result guarded(void* self, Result failure, Action action) {
    try {
      return action(of(self));
    } catch (const std::bad_alloc&) {
      of(self).ending_ = Ending::noResources;
      return failure;
    }
  }

  static curl_socket_t openSocket(void* self, curlsocktype, curl_sockaddr* address) {
    const int opened = socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
    const bool isKept = guarded(self, false, [&](Transfer& transfer) {
      transfer.lacksDescriptors_ = opened < 0 && errno != EAFNOSUPPORT;
      if (opened < 0) return true;
      setsockopt(opened, IPPROTO_TCP, TCP_USER_TIMEOUT, &longestSilence, sizeof longestSilence);
      transfer.openedSockets_.push_back(opened);
      transfer.session_->loop().adopt(opened);
      return true;
    });
    if (!isKept) {
      ::close(opened);
      return CURL_SOCKET_BAD;
    }
    return opened;
  }

  // Connections outlive the transfers that opened them.
  static int closeSocket(void* session, curl_socket_t socket) {
    auto& core = *static_cast<SessionCore*>(session);
    core.sockets().remove(socket);
    core.loop().forget(socket);
    return ::close(socket);
  }

  static CURLcode newConnection(CURL*, void* sslContext, void* self) {
    return guarded(self, CURLE_SSL_CONNECT_ERROR, [&](Transfer& transfer) {
      transfer.trust_ =
          std::make_shared<TrustCheck>(transfer.session_->delegate(), transfer.prepared_.host);
      install(transfer.trust_, sslContext);
      SecureConnection::install(std::make_shared<SecureConnection>(transfer.session_->loop()),
                                sslContext);
      return CURLE_OK;
    });
  }

  // Called each time that libcurl is about to send the request: when a kept connection has
  // died before a byte of the answer, or a stream was refused, it tries again by itself.
  static int aboutToSend(void* self, char*, char*, int, int localPort) {
    const int result = guarded(self, CURL_PREREQFUNC_ABORT, [&](Transfer& transfer) {
      transfer.isConnectionNew_ = transfer.hasNewConnection();
      if (transfer.sendings_ > 0 && !transfer.mayRepeat()) return CURL_PREREQFUNC_ABORT;
      transfer.learnConnection(localPort);
      if (transfer.isOverSpoiltConnection(localPort)) {
        transfer.isConnectionStale_ = true;
        set(transfer.handle_, CURLOPT_FORBID_REUSE, 1L);  // nobody else is to find it
        return CURL_PREREQFUNC_ABORT;
      }
      transfer.countSending();
      return CURL_PREREQFUNC_OK;
    });
    // A connection that we could not take note of is not to be found by the next request.
    if (of(self).ending_ == Ending::noResources) set(of(self).handle_, CURLOPT_FORBID_REUSE, 1L);
    return result;
  }

  // Called after each of libcurl's steps with a transfer. One record for each step, that is: with
  // one for each call from outside, every record would cost a step of every transfer.
  static int afterStep(void* self, curl_off_t, curl_off_t, curl_off_t, curl_off_t) {
    if (const auto& connection = of(self).connection_; connection && connection->isOverHTTP2()) {
      connection->nextRecordIfAny();
    }
    return 0;
  }

  static std::size_t headLine(char* text, std::size_t, std::size_t size, void* self) {
    constexpr std::size_t none = 0;
    return guarded(self, none, [&](Transfer& transfer) {
      const HeadFault fault = transfer.reader_.takeHeadLine({text, size});
      if (fault == HeadFault::none && transfer.reader_.endedHeadStatus() != 101) return size;
      transfer.ending_ = endingOf(fault);
      return none;
    });
  }

  static std::size_t body(char* bytes, std::size_t, std::size_t size, void* self) {
    constexpr std::size_t none = 0;
    return guarded(self, none, [&](Transfer& transfer) {
      if (!transfer.hasBody_) transfer.expectBody();
      if (IOLoop::Clock::now() > transfer.deadline_) {
        transfer.ending_ = Ending::deadline;  // a few bytes can be unpacked for very long
        return none;
      }
      if (transfer.reader_.takeBody({bytes, size})) return size;
      transfer.ending_ = Ending::bodyTooLarge;
      return none;
    });
  }
};

Transfer::Transfer(std::shared_ptr<SessionCore> session, PreparedRequest prepared)
    : session_(std::move(session)),
      prepared_(std::move(prepared)),
      deadline_(deadlineAfter(prepared_.request.timeoutInterval)),
      latestStart_(latestStartBefore(deadline_)),
      noResources_(errorOf(Ending::noResources, prepared_.request.url)) {}

Transfer::~Transfer() { close(); }

void Transfer::close() {
  if (handle_ != nullptr) curl_easy_cleanup(static_cast<CURL*>(std::exchange(handle_, nullptr)));
  curl_slist_free_all(static_cast<curl_slist*>(std::exchange(fields_, nullptr)));
}

bool Transfer::open() noexcept {
  try {
    return configure();
  } catch (const std::bad_alloc&) {
    return false;
  }
}

bool Transfer::configure() {
  // Never one that was used before: a reset handle may keep a pointer into an earlier answer.
  handle_ = curl_easy_init();
  if (handle_ == nullptr || !addFields()) return false;
  set(handle_, CURLOPT_PRIVATE, this);
  set(handle_, CURLOPT_ERRORBUFFER, errorText_.data());
  set(handle_, CURLOPT_CURLU, static_cast<CURLU*>(prepared_.address.get()));
  set(handle_, CURLOPT_REQUEST_TARGET, prepared_.target.c_str());
  set(handle_, CURLOPT_PROTOCOLS_STR, "http,https");
  set(handle_, CURLOPT_FOLLOWLOCATION, 0L);
  set(handle_, CURLOPT_PROXY, "");
  set(handle_, CURLOPT_ACCEPT_ENCODING, "");
  set(handle_, CURLOPT_NOSIGNAL, 1L);
  set(handle_, CURLOPT_QUICK_EXIT, 1L);  // else cancelling waits for the resolver
  // libcurl looks for names that are too old among all of them after each transfer. Addresses don't
  // age, and in their thousands they would take most of the time.
  if (prepared_.isHostNumeric) set(handle_, CURLOPT_DNS_CACHE_TIMEOUT, -1L);
  set(handle_, CURLOPT_OPENSOCKETFUNCTION, &Callbacks::openSocket);
  set(handle_, CURLOPT_OPENSOCKETDATA, this);
  set(handle_, CURLOPT_CLOSESOCKETFUNCTION, &Callbacks::closeSocket);
  set(handle_, CURLOPT_CLOSESOCKETDATA, session_.get());
  set(handle_, CURLOPT_PREREQFUNCTION, &Callbacks::aboutToSend);
  set(handle_, CURLOPT_PREREQDATA, this);
  set(handle_, CURLOPT_HEADERFUNCTION, &Callbacks::headLine);
  set(handle_, CURLOPT_HEADERDATA, this);
  set(handle_, CURLOPT_WRITEFUNCTION, &Callbacks::body);
  set(handle_, CURLOPT_WRITEDATA, this);
  chooseMethod();
  if (prepared_.isSecure) configureTLS();
  return true;
}

bool Transfer::addFields() {
  auto* fields = static_cast<curl_slist*>(fields_);
  const auto add = [&](const std::string& field) {
    curl_slist* longer = curl_slist_append(fields, field.c_str());
    if (longer != nullptr) fields_ = fields = longer;
    return longer != nullptr;
  };
  const URLRequest& request = prepared_.request;
  bool isComplete = add("Expect:");
  // libcurl would add values of its own to these.
  for (const char* name : {"Accept", "Content-Type", "User-Agent"}) {
    if (!request.header(name)) isComplete = isComplete && add(std::string(name) + ":");
  }
  for (const auto& [name, value] : request.headers) {
    if (isOwnField(name)) continue;
    // To libcurl "name:" without a value removes the field, and "name;" sends it empty.
    const bool isEmpty = value.find_first_not_of(' ') == std::string::npos;
    isComplete = isComplete && add(isEmpty ? name + ";" : name + ": " + value);
  }
  set(handle_, CURLOPT_HTTPHEADER, fields);
  return isComplete;
}

void Transfer::chooseMethod() {
  const URLRequest& request = prepared_.request;
  if (request.body || announcesContent(request.method)) {
    // Not copied: the request lives as long as the handle.
    const std::string_view content = request.body ? request.body->text() : std::string_view();
    set(handle_, CURLOPT_POST, 1L);
    set(handle_, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(content.size()));
    set(handle_, CURLOPT_POSTFIELDS, content.empty() ? "" : content.data());
  } else if (request.method == "HEAD") {
    set(handle_, CURLOPT_NOBODY, 1L);
    return;
  }
  set(handle_, CURLOPT_CUSTOMREQUEST, request.method.c_str());
}

// libcurl's own checks stay on, for with VERIFYPEER off it ignores what our check says, and
// have nothing to check against. Its match of host and certificate would override a pin.
void Transfer::configureTLS() {
  set(handle_, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_2TLS));
  set(handle_, CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
  set(handle_, CURLOPT_SSL_VERIFYPEER, 1L);
  set(handle_, CURLOPT_SSL_VERIFYHOST, 0L);
  set(handle_, CURLOPT_SSL_SESSIONID_CACHE, 0L);  // a resumed session asks no check
  set(handle_, CURLOPT_CAINFO, static_cast<char*>(nullptr));
  set(handle_, CURLOPT_CAPATH, static_cast<char*>(nullptr));
  set(handle_, CURLOPT_SSL_CTX_FUNCTION, &Callbacks::newConnection);
  set(handle_, CURLOPT_SSL_CTX_DATA, this);
  set(handle_, CURLOPT_NOPROGRESS, 0L);
  set(handle_, CURLOPT_XFERINFOFUNCTION, &Callbacks::afterStep);
  set(handle_, CURLOPT_XFERINFODATA, this);
}

void Transfer::expectBody() {
  hasBody_ = true;
  curl_off_t size = -1;
  curl_easy_getinfo(static_cast<CURL*>(handle_), CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &size);
  if (size > 0) reader_.expectBody(static_cast<std::size_t>(size));
}

void Transfer::finish(Ending ending, int curlCode) noexcept {
  try {
    outcome.emplace(outcomeOf(ending, curlCode));
  } catch (const std::bad_alloc&) {
    outcome.emplace(std::move(noResources_));
  }
  close();
}

URLSession::Outcome Transfer::outcomeOf(Ending ending, int curlCode) {
  TransferFacts facts;
  facts.ending = ending == Ending::none ? ending_ : ending;
  facts.trust = trust_ ? trust_->result : TrustResult::notAsked;
  facts.curlCode = curlCode;
  facts.isHeadForeign = reader_.hasForeignHead();
  facts.isHeadComplete = reader_.endedHeadStatus() != 0;
  facts.hasStatus = reader_.status() != 0;
  facts.curlText = errorText_.data();
  facts.isAlerted = connection_ && connection_->isAlerted();
  facts.isCutOff = isCutOff();
  facts.lacksDescriptors = lacksDescriptors_;
  const Verdict verdict = verdictOf(facts);
  switch (verdict.kind) {
    case Verdict::Kind::answer:
      if (curlCode != CURLE_OK) reader_.dropBody();
      return reader_.finish();
    case Verdict::Kind::notHTTP: return HTTPResponse();
    case Verdict::Kind::error: break;
  }
  return URLError(verdict.code, prepared_.request.url, verdict.reason);
}

URLSession::Outcome Transfer::cancelled() const {
  return errorOf(Ending::cancelledByCaller, prepared_.request.url);
}

void Transfer::ring() { session_->end(*this, Ending::deadline); }

}  // namespace idlewyn::platform
