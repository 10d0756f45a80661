#pragma once

namespace LumLocalServer {

/// Forgets the proxies that the environment names, so that everything stays on loopback. Before any thread is started.
void ForgetProxies();

} // namespace LumLocalServer
