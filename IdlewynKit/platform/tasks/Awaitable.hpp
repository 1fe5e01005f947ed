// SPDX-License-Identifier: MIT
#pragma once

#include <boost/version.hpp>

#include <IdlewynKit/Version.hpp>

/// `boost::asio::awaitable`, for programs that use the Boost that the library was built with. An
/// awaitable's layout belongs to its version of Boost: with another one a program would link and
/// crash.
static_assert(
    BOOST_VERSION == IDLEWYNKIT_BOOST_VERSION,
    "IdlewynKit was built with another version of Boost. Build the program with the Boost "
    "that IDLEWYNKIT_BOOST_VERSION names, or build IdlewynKit anew with this one.");
#ifdef BOOST_ASIO_DISABLE_THREADS
#error "IdlewynKit runs transfers on a thread of its own. Remove BOOST_ASIO_DISABLE_THREADS."
#endif

#include <boost/asio/awaitable.hpp>
