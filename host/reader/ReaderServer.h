#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <thread>

#include "reader/Gate.h"
#include "reader/ReaderState.h"

namespace httplib {
struct Request;
struct Response;
}  // namespace httplib

namespace quillmoria {

class BoundedServer;

/// Serves the reader's page on 127.0.0.1 while it lives, to whoever comes through its Gate.
class ReaderServer {
 public:
  /// At `port`, or at any that is free if that is 0. `reader` must outlive the server. Throws Failure if the port is
  /// taken.
  ReaderServer(int port, ReaderState& reader);

  /// Ends it: pages that listen are told by the end of their streams.
  ~ReaderServer();
  ReaderServer(const ReaderServer&) = delete;
  ReaderServer& operator=(const ReaderServer&) = delete;

  /// What opens the page in a browser.
  std::string address() const { return gate_->address(); }

 private:
  using Handler = void (ReaderServer::*)(const httplib::Request& request, httplib::Response& response);

  void configure();
  void addRoutes();
  void route(const std::string& name, Handler handler);
  bool isAnswered(const httplib::Request& request, httplib::Response& response) const;

  void showPage(const httplib::Request& request, httplib::Response& response);
  void showArticle(const httplib::Request& request, httplib::Response& response);
  void sendPicture(const httplib::Request& request, httplib::Response& response);
  void sendList(const httplib::Request& request, httplib::Response& response);
  void sendEvents(const httplib::Request& request, httplib::Response& response);
  void change(const httplib::Request& request, httplib::Response& response);
  void setImages(const httplib::Request& request, httplib::Response& response);

  ReaderState& reader_;
  std::unique_ptr<BoundedServer> server_;
  std::unique_ptr<Gate> gate_;
  std::atomic<int> listeners_ = 0;  ///< connections that hear of events
  std::thread thread_;
};

}  // namespace quillmoria
