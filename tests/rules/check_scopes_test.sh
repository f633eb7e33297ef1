#!/usr/bin/env bash
# What cmake/check-scopes refuses and what it lets pass.
source "$(dirname "$0")/cases.sh"

# <file> | <line> | what the refusal says, nothing where it passes
while IFS='|' read -r file line words; do
  expect check-scopes $file "$line" "$words"
done <<'END'
src/sync/A.h|class [[nodiscard]] LockScope {|
src/sync/A.h|class [[nodiscard]] VEL_SCOPED_CAPABILITY LockScope {|
src/sync/A.h|class LockScope;|
src/sync/A.h|  friend class LockScope;|
src/sync/A.h|// The class of a LockScope {|
src/sync/A.h|class Scopes {|
src/sync/A.h|  LockScope(Lock& lock);|
src/sync/A.h|class LockScope {|class LockScope holds for a scope
src/sync/A.h|class VEL_SCOPED_CAPABILITY LockScope {|class LockScope holds
src/sync/A.h|class VEL_CAPABILITY("mutex") LockScope {|class LockScope holds
src/sync/A.h|class ErrorKeeper final : public Keeper {|class ErrorKeeper holds
src/sync/A.h|class Long::Name::FindScope final|class FindScope holds
src/sync/A.cpp|  struct Turn { ~Turn(); };|class Turn holds
companions/menus/A.h|template <typename T> class ScopedThing {|class ScopedThing holds
tests/support/A.h|class ThreadHandle {|class ThreadHandle holds
END

# The constructors of a class that is [[nodiscard]].
while IFS= read -r line; do
  expect check-scopes src/A.h "class [[nodiscard]] Held {
$line"
done <<'END'
  [[nodiscard]] explicit Held(int value);
  Held(const Held&) = delete;
  Held(Held&& other) noexcept : _value(other.release()) {}
  Held() = default;
  Other(int value);
END
put src/A.h 'class [[nodiscard]] Held {
  explicit constexpr Held(int value);
  Held() {'
said=$("$root/cmake/check-scopes" "$tree") && fail "a constructor passes"
[ "$(grep -c '^src/A.h:[34]: a constructor of Held' <<<"$said")" = 2 ] ||
  fail "constructors: $said"
finish
