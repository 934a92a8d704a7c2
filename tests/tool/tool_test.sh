#!/usr/bin/env bash
# The zvsdp tool on the example pairs against their expected outputs, and its
# exit codes and messages for files it cannot use. Built against the gateway's
# libubus ("system") it also serves the bus object on a private bus daemon and
# reads it back, when ZVSDP_TEST_UBUSD and ZVSDP_TEST_UBUS name ubusd and ubus.
# usage: tool_test.sh <zvsdp binary> <examples folder> [bundled|system]
set -u
tool=$1
ex=$2
bus=${3:-bundled}
tmp=$(mktemp -d)
pids=()
trap 'for p in "${pids[@]}"; do kill "$p" 2>/dev/null; done; rm -rf "$tmp"' EXIT
passed=0
failed=0

check() { # name, expected exit code, expected file or "", command...
    local name=$1 code=$2 expected=$3
    shift 3
    "$@" >"$tmp/out" 2>"$tmp/err"
    local rc=$?
    if [ "$rc" -ne "$code" ]; then
        echo "FAIL $name: exit $rc, wanted $code"; cat "$tmp/err"; failed=$((failed + 1)); return
    fi
    if [ -n "$expected" ] && ! diff -u "$expected" "$tmp/out"; then
        echo "FAIL $name: output differs"; failed=$((failed + 1)); return
    fi
    passed=$((passed + 1))
}

stderr_is() { # name, wanted text
    if [ "$(cat "$tmp/err")" != "$2" ]; then
        echo "FAIL $1: stderr is '$(cat "$tmp/err")', wanted '$2'"; failed=$((failed + 1))
    else
        passed=$((passed + 1))
    fi
}

check answer 0 "$ex/offer.answer" "$tool" answer --filter-dtmf "$ex/offer.sdp" "$ex/local.sdp"
stderr_is answer-quiet ""
check answer-amr 0 "$ex/amr-offer.answer" "$tool" answer --filter-dtmf "$ex/amr-offer.sdp" "$ex/amr-local.sdp"
check answer-dtmf 0 "$ex/dtmf-offer.answer" "$tool" answer --filter-dtmf "$ex/dtmf-offer.sdp" "$ex/dtmf-local.sdp"
check answer-dtmf-kept 0 "$ex/dtmf-offer-unfiltered.answer" "$tool" answer --keep-unmatched "$ex/dtmf-offer.sdp" "$ex/dtmf-local.sdp"
check answer-av 0 "$ex/av-offer.answer" "$tool" answer "$ex/av-offer.sdp" "$ex/local.sdp"
check answer-stdin 0 "$ex/offer.answer" sh -c "'$tool' answer --filter-dtmf - '$ex/local.sdp' < '$ex/offer.sdp'"
check rfc3264 0 "$ex/offer.rfc3264" "$tool" answer --rfc3264 "$ex/offer.sdp" "$ex/local.sdp"
check rfc3264-av 0 "$ex/av-offer.rfc3264" "$tool" answer --rfc3264 "$ex/av-offer.sdp" "$ex/local.sdp"
check rfc3264-body 0 "$ex/av-offer.rfc3264-body" "$tool" answer --rfc3264 --body 192.0.2.1 "$ex/av-offer.sdp" "$ex/local.sdp"
check rfc3264-t38 0 "$ex/t38-offer.rfc3264" "$tool" answer --rfc3264 "$ex/t38-offer.sdp" "$ex/local.sdp"
check rfc3264-stdin 0 "$ex/offer.rfc3264" sh -c "'$tool' answer --rfc3264 - '$ex/local.sdp' < '$ex/offer.sdp'"
check parse 0 "$ex/offer.parsed" "$tool" parse "$ex/offer.sdp"
check mirror 0 "$ex/offer.mirror" "$tool" mirror "$ex/offer.sdp"
check codecs 0 "$ex/codecs.txt" "$tool" codecs

# Waits up to 5 s for a command to succeed.
await() {
    for _ in $(seq 100); do "$@" >/dev/null 2>&1 && return 0; sleep 0.05; done
    return 1
}

if [ "$bus" = bundled ]; then
    check codecs-json 0 "$ex/codecs.json" "$tool" codecs --json
    check serve-bundled 1 "" "$tool" serve
    stderr_is serve-bundled-message "zvsdp: serve: built with the bundled libubus, which reaches no bus daemon"
else
    check codecs-json-no-daemon 1 "" "$tool" codecs --json -s "$tmp/no-daemon.sock"
    stderr_is codecs-json-no-daemon-message "zvsdp: zvUbusCall: Connection failed (10)"
fi

if [ "$bus" = system ] && [ -n "${ZVSDP_TEST_UBUSD:-}" ] && [ -n "${ZVSDP_TEST_UBUS:-}" ]; then
    sock=$tmp/ubus.sock
    "$ZVSDP_TEST_UBUSD" -s "$sock" & pids+=($!)
    await test -S "$sock" || echo "FAIL ubusd: no socket"
    "$tool" serve -s "$sock" >"$tmp/serve.out" 2>&1 & server=$!
    pids+=($server)
    if await "$ZVSDP_TEST_UBUS" -s "$sock" list zvpbx.media.codec; then passed=$((passed + 1)); else
        echo "FAIL serve: the object never appeared"; cat "$tmp/serve.out"; failed=$((failed + 1)); fi
    check serve-parse 0 "$ex/offer.parsed" "$tool" parse "$ex/offer.sdp"
    check codecs-json-bus 0 "$ex/codecs.json" "$tool" codecs --json -s "$sock"
    "$ZVSDP_TEST_UBUS" -s "$sock" call zvpbx.media.codec get >"$tmp/client.json"
    if diff -u "$tmp/client.json" "$tmp/out"; then passed=$((passed + 1)); else
        echo "FAIL codecs-json-bus: not what the ubus client prints"; failed=$((failed + 1)); fi
    check serve-second 1 "" "$tool" serve -s "$sock"
    stderr_is serve-second-message "zvsdp: zvSdpAppInit: Resource could not be created (2)"
    kill -TERM "$server"
    wait "$server"
    rc=$?
    if [ "$rc" -eq 0 ]; then passed=$((passed + 1)); else echo "FAIL serve: exit $rc after SIGTERM"; failed=$((failed + 1)); fi
    await sh -c "! '$ZVSDP_TEST_UBUS' -s '$sock' list zvpbx.media.codec"  # the daemon drops it
    check codecs-json-gone 1 "" "$tool" codecs --json -s "$sock"
    stderr_is codecs-json-gone-message "zvsdp: zvUbusCall: Not found (4)"
fi

check t38 1 "" "$tool" answer "$ex/t38-offer.sdp" "$ex/local.sdp"
stderr_is t38-message "zvsdp: zvSdpConstructFromString: $(printf 'Unsupported transport protocol') (11)"
check missing 2 "" "$tool" parse "$tmp/no-such-file"
stderr_is missing-message "zvsdp: $tmp/no-such-file: cannot be read"
: >"$tmp/empty.sdp"
check empty 1 "" "$tool" parse "$tmp/empty.sdp"
stderr_is empty-message "zvsdp: zvSdpConstructFromString: Invalid parameter or item not present (5)"
printf 'hello\nworld\n' >"$tmp/text.sdp"
check not-sdp 1 "" "$tool" parse "$tmp/text.sdp"
stderr_is not-sdp-message "zvsdp: zvSdpConstructFromString: Invalid parameter or item not present (5)"
check t38-parse 1 "" "$tool" mirror "$ex/t38-offer.sdp"
check rfc3264-not-sdp 1 "" "$tool" answer --rfc3264 "$tmp/text.sdp" "$ex/local.sdp"
stderr_is rfc3264-not-sdp-message "zvsdp: zvSdpHelperAnswerOffer: Invalid parameter or item not present (5)"
check directory 2 "" "$tool" parse "$tmp"
head -c 3000 /dev/urandom >"$tmp/noise.sdp"
"$tool" parse "$tmp/noise.sdp" >/dev/null 2>&1
rc=$?
if [ "$rc" -ne 0 ] && [ "$rc" -ne 1 ]; then echo "FAIL noise: exit $rc"; failed=$((failed + 1)); else passed=$((passed + 1)); fi
check usage 2 "" "$tool" answer "$ex/offer.sdp"
check usage-level 2 "" "$tool" parse -v 5 "$ex/offer.sdp"
check usage-option 2 "" "$tool" parse --filter-dtmf "$ex/offer.sdp"
check usage-command 2 "" "$tool" offer "$ex/offer.sdp"
check usage-rfc3264-filter 2 "" "$tool" answer --rfc3264 --filter-dtmf "$ex/offer.sdp" "$ex/local.sdp"
check usage-body-alone 2 "" "$tool" answer --body 192.0.2.1 "$ex/offer.sdp" "$ex/local.sdp"
check usage-body-address 2 "" "$tool" answer --rfc3264 "$ex/offer.sdp" "$ex/local.sdp" --body
check help 0 "" "$tool" answer --help
check verbose 0 "" "$tool" parse -v 4 "$ex/local.sdp"
if ! grep -q 'SDP message parsed successfully' "$tmp/err"; then
    echo "FAIL verbose: no log line on stderr"; failed=$((failed + 1))
fi

echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ]
