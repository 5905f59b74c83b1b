#pragma once

#include <curl/curl.h>

#include <memory>

/// libcurl's multi handles, with the connections that each of them keeps. Any thread.
namespace brindle::Connections {

using Handle = std::unique_ptr<CURLM, CURLMcode (*)(CURLM *)>;

/// Returns a handle for one transfer, since threads can't share connections.
Handle take();
/// Keeps the handle for the next `take`, or closes its connections.
void giveBack(Handle handle);

/// Has handles kept until the returned object is destroyed.
std::shared_ptr<void> keep();

} // namespace brindle::Connections
