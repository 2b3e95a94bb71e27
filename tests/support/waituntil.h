#pragma once
// Runs a nested event loop until done() holds or ms pass; done() is looked at
// every 5 ms from a timer, so the wait sleeps in between. With no done() it
// just lets ms pass with the event loop running.
#include <functional>

bool waitUntil(const std::function<bool()> &done, int ms);
