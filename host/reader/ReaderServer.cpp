#include "reader/ReaderServer.h"

#include <httplib.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <iterator>
#include <optional>
#include <string_view>
#include <vector>

#include "Archive.h"
#include "Failure.h"
#include "reader/BoundedServer.h"
#include "reader/FormActions.h"
#include "reader/Pages.h"
#include "reader/PeerOwner.h"
#include "reader/ReaderFiles.h"

namespace quillmoria {
namespace {

using namespace std::chrono_literals;
using httplib::Request;
using httplib::Response;

enum HttpStatus : int { kOk = 200, kSeeOther = 303, kForbidden = 403, kNotFound = 404, kBroken = 500, kBusy = 503 };

// Every open tab holds a thread while it is looked at, and every idle connection for a second.
constexpr std::size_t kThreads = 64;
constexpr int kMaxListeners = 24;
constexpr time_t kIdleSeconds = 1;
constexpr std::size_t kRequestsPerConnection = 10'000;
constexpr auto kLook = 1s;  // whether who listens is still there
// The body may be a list to be imported.
constexpr RequestBounds kRequestBounds{.headBytes = 64 << 10, .bodyBytes = 32 << 20, .headTime = 10s, .time = 60s};
constexpr std::size_t kMaxFieldBytes = 64 << 10;  // beside a list

constexpr char kPagePolicy[] =
    "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; connect-src 'self'; frame-src 'self'; "
    "media-src http: https:; form-action 'self'; base-uri 'none'; frame-ancestors 'none'";
constexpr char kArticlePolicy[] =
    "default-src 'none'; style-src 'self'; img-src data:; base-uri 'none'; form-action 'none'; "
    "frame-ancestors 'self'; sandbox allow-same-origin allow-popups allow-popups-to-escape-sandbox";
constexpr char kArticlePolicyWithImages[] =
    "default-src 'none'; style-src 'self'; img-src data: http: https:; media-src http: https:; base-uri 'none'; "
    "form-action 'none'; "
    "frame-ancestors 'self'; sandbox allow-same-origin allow-popups allow-popups-to-escape-sandbox";

constexpr char kHtml[] = "text/html; charset=utf-8";

// A setting of the browser, for all readers of this machine.
constexpr char kImagesCookie[] = "quillmoria_images=1";
constexpr char kKeepImages[] = "; Path=/; Max-Age=31536000; HttpOnly; SameSite=Strict";
constexpr char kDropImages[] = "; Path=/; Max-Age=0; HttpOnly; SameSite=Strict";

struct FileType {
  std::string_view ending;
  const char* type;
};

constexpr FileType kFileTypes[] = {
    {".css", "text/css; charset=utf-8"}, {".js", "text/javascript; charset=utf-8"}, {".svg", "image/svg+xml"}};

const char* typeOf(std::string_view target) {
  const auto* const found =
      std::ranges::find_if(kFileTypes, [target](const FileType& type) { return target.ends_with(type.ending); });
  return found == std::end(kFileTypes) ? "application/octet-stream" : found->type;
}

bool withImages(const Request& request) {
  return request.get_header_value("Cookie").find(kImagesCookie) != std::string::npos;
}

void answer(Response& response, const std::string& body, const char* type, const char* policy = kPagePolicy) {
  response.set_header("Content-Security-Policy", policy);
  response.set_content(body, type);
}

/// Sends the browser to where a view is seen.
void show(View view, const std::string& parts, Response& response) {
  std::string address = addressOf(view);
  if (!parts.empty()) address.append(address.ends_with('/') ? "?" : "&").append("parts=").append(parts);
  response.status = kSeeOther;
  response.set_header("Location", address);
}

/// The names of parts are words with dots between them; what is none is not carried on.
std::string partsOf(const Request& request) {
  const std::string parts = request.get_param_value("parts");
  const auto isMeant = [](char c) { return (c >= 'a' && c <= 'z') || c == '.'; };
  return std::ranges::all_of(parts, isMeant) ? parts : "";
}

/// What a form has sent in its body, in either of the forms that forms have. Texts that no page sends are passed over.
Form formOf(const Request& request) {
  Form form{.fields = request.is_multipart_form_data() ? Fields() : fieldsFrom(request.body)};
  for (const auto& [name, part] : request.files) {
    if (name == "list" && !part.filename.empty()) {
      form.list = part.content;
    } else if (part.content.size() <= kMaxFieldBytes) {
      form.fields.emplace(name, part.content);
    }
  }
  return form;
}

/// What went wrong, as far as the user is to know.
void explain(const std::exception_ptr& error, Response& response) {
  std::string text = "Something went wrong";
  try {
    std::rethrow_exception(error);
  } catch (const ArchiveError& known) {
    text = failureOf(known).what();
  } catch (const std::exception& known) {
    text = known.what();
  } catch (...) {
  }
  response.status = kBroken;
  answer(response, errorPageOf(text), kHtml);
}

/// Other users of the machine have no business here, whatever they know: the address with the key stands in the command
/// line of the browser that was started, where they may see it. The administrator may do as he likes anyway.
bool isOfThisUser(const Connection& connection) {
  std::string address;
  int peer = 0, own = 0;
  connection.get_remote_ip_and_port(address, peer);
  connection.get_local_ip_and_port(address, own);
  const std::optional<uid_t> owner = ownerOfPeer(peer, own);
  return !owner || *owner == geteuid() || *owner == 0;
}

/// Without the option by which others of the same user could listen at the port as well.
void setSocketOptions(int socket) {
  const int yes = 1;
  setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
}

}  // namespace

ReaderServer::ReaderServer(int port, ReaderState& reader)
    : reader_(reader), server_(std::make_unique<BoundedServer>(kRequestBounds, isOfThisUser)) {
  configure();
  const int bound =
      port == 0 ? server_->bind_to_any_port("127.0.0.1") : (server_->bind_to_port("127.0.0.1", port) ? port : -1);
  if (bound < 0) {
    throw Failure(kWrongUse, port == 0 ? "there is no loopback port to be had"
                                       : "the port " + std::to_string(port) +
                                             " cannot be had, another program may have it: choose another with --port");
  }
  gate_ = std::make_unique<Gate>(bound);
  server_->admit([this](const Request& head) { return gate_->judge(head) != Verdict::Refused; });
  addRoutes();
  thread_ = std::thread([this] { server_->listen_after_bind(); });
  while (!server_->is_running()) std::this_thread::yield();
}

ReaderServer::~ReaderServer() {
  reader_.events.close();
  server_->stop();
  thread_.join();
}

void ReaderServer::configure() {
  server_->new_task_queue = [] { return new httplib::ThreadPool(kThreads); };
  server_->set_socket_options(setSocketOptions);
  server_->set_tcp_nodelay(true);
  server_->set_keep_alive_max_count(kRequestsPerConnection);
  server_->set_keep_alive_timeout(kIdleSeconds);
  server_->set_payload_max_length(kRequestBounds.bodyBytes);
  server_->set_default_headers({{"Cache-Control", "no-store"},
                                {"X-Content-Type-Options", "nosniff"},
                                {"Referrer-Policy", "same-origin"},
                                {"Cross-Origin-Resource-Policy", "same-origin"},
                                {"Cross-Origin-Opener-Policy", "same-origin"}});
  server_->set_exception_handler(
      [](const Request&, Response& response, const std::exception_ptr& error) { explain(error, response); });
  server_->set_error_handler([](const Request&, Response& response) {
    if (response.body.empty()) answer(response, errorPageOf("There is nothing at this address."), kHtml);
  });
}

void ReaderServer::addRoutes() {
  server_->set_pre_routing_handler([this](const Request& request, Response& response) {
    return isAnswered(request, response) ? httplib::Server::HandlerResponse::Handled
                                         : httplib::Server::HandlerResponse::Unhandled;
  });
  route("", &ReaderServer::showPage);
  route("article", &ReaderServer::showArticle);
  route("picture", &ReaderServer::sendPicture);
  route("export", &ReaderServer::sendList);
  route("events", &ReaderServer::sendEvents);
  for (const EmbeddedFile& file : readerFiles()) {
    server_->Get(gate_->folder() + std::string(file.target.substr(1)), [file](const Request&, Response& response) {
      answer(response, std::string(file.bytes), typeOf(file.target));
    });
  }
  server_->Post(gate_->folder() + "images",
                [this](const Request& request, Response& response) { setImages(request, response); });
  server_->Post(gate_->folder() + "([a-z]+)",
                [this](const Request& request, Response& response) { change(request, response); });
}

void ReaderServer::route(const std::string& name, Handler handler) {
  server_->Get(gate_->folder() + name,
               [this, handler](const Request& request, Response& response) { (this->*handler)(request, response); });
}

/// Whether the request is dealt with already: it is refused, or given the key.
bool ReaderServer::isAnswered(const Request& request, Response& response) const {
  switch (gate_->judge(request)) {
    case Verdict::Admitted:
      return false;
    case Verdict::Entering:
      response.set_header("Set-Cookie", gate_->cookie());
      show({}, "", response);
      return true;
    case Verdict::Refused:
      break;
  }
  response.status = kForbidden;
  response.set_header("Connection", "close");  // its body is not read
  answer(response, strangerPage(), kHtml);
  return true;
}

void ReaderServer::showPage(const Request& request, Response& response) {
  const View view = viewOf(Fields(request.params.begin(), request.params.end()));
  const std::optional<FeedOffer> offer = reader_.offers.find(view.address);
  const PageContext context{
      .baseFolder = reader_.baseFolder,
      .archives = reader_.archives,
      .notices = reader_.notices,
      .pictures = reader_.pictures,
      .refresh = reader_.refresher.state(),
      .steps = view.aside == Aside::Refresh ? reader_.refresher.steps() : std::vector<RefreshStep>(),
      .formToken = gate_->formToken(),
      .withImages = withImages(request),
      .offer = offer ? &*offer : nullptr};
  const std::string parts = partsOf(request);
  answer(response, parts.empty() ? pageOf(view, context) : quillmoria::partsOf(parts, view, context), kHtml);
}

void ReaderServer::showArticle(const Request& request, Response& response) {
  const std::int64_t id = numberOf(Fields(request.params.begin(), request.params.end()), "id");
  const bool areImagesOn = withImages(request);
  answer(response, articleOf(id, areImagesOn, reader_.archives), kHtml,
         areImagesOn ? kArticlePolicyWithImages : kArticlePolicy);
}

void ReaderServer::sendPicture(const Request& request, Response& response) {
  const std::optional<std::string> file = reader_.pictures.file(request.get_param_value("url"));
  if (!file) {
    response.status = kNotFound;
    return;
  }
  answer(response, *file, "image/bmp");
}

void ReaderServer::sendList(const Request&, Response& response) {
  response.set_header("Content-Disposition", "attachment; filename=\"subscriptions.opml\"");
  answer(response, exportedList(reader_.baseFolder), "text/x-opml; charset=utf-8");
}

/// Holds the connection until the other side or the server is gone.
void ReaderServer::sendEvents(const Request&, Response& response) {
  if (listeners_.fetch_add(1) >= kMaxListeners) {
    --listeners_;
    response.status = kBusy;
    return;
  }
  const auto send = [this, place = reader_.events.end(), isNew = true](std::size_t, httplib::DataSink& sink) mutable {
    const std::optional<std::string> text =
        isNew ? asServerSentEvent("state", reader_.refresher.stateAsJson()) : reader_.events.wait(place, kLook);
    isNew = false;
    if (!text) sink.done();
    return !text || (sink.is_writable() && (text->empty() || sink.write(text->data(), text->size())));
  };
  response.set_header("Content-Security-Policy", kPagePolicy);
  response.set_chunked_content_provider("text/event-stream", send, [this](bool) { --listeners_; });
}

void ReaderServer::change(const Request& request, Response& response) {
  const std::string action = request.matches[1];
  const Form form = formOf(request);
  if (!isAction(action)) {
    response.status = kNotFound;
  } else if (!gate_->isFormToken(fieldOf(form.fields, "token"))) {
    response.status = kForbidden;
    answer(response, strangerPage(), kHtml);
  } else {
    show(perform(action, form, reader_), partsOf(request), response);
  }
}

void ReaderServer::setImages(const Request& request, Response& response) {
  const Form form = formOf(request);
  if (!gate_->isFormToken(fieldOf(form.fields, "token"))) {
    response.status = kForbidden;
    return;
  }
  const bool areOn = fieldOf(form.fields, "on") == "1";
  response.set_header("Set-Cookie", std::string(kImagesCookie) + (areOn ? kKeepImages : kDropImages));
  show(viewFrom(fieldOf(form.fields, "back")), partsOf(request), response);
}

}  // namespace quillmoria
