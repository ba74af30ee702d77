#!/bin/bash
# Has two processes write a trace of 100,000 lines together, makes a page of it and opens that in a
# headless Chromium: what it shows, whether the keyboard is enough, how long opening and searching take.
# Pictures and the page are left in build/trace-page. With status 2 it says why it was not tried.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
browser=$(command -v chromium || command -v chromium-browser || command -v google-chrome || true)
if [[ -z $browser ]] || ! command -v node >/dev/null; then
    echo "The trace's page was not opened: chromium or nodejs is not installed"
    exit 2
fi
programs=build/linux/bin
place=build/trace-page
text='taken from the last run'
mkdir -p $place
traces=($place/agent.log $place/service.log)
$programs/kest_trace_sample "${traces[0]}" 50000 1 &
$programs/kest_trace_sample "${traces[1]}" 50000 2
wait $!
$programs/kest trace "${traces[@]}" --html $place/trace.html
lines=$($programs/kest trace "${traces[@]}" --json | grep -vc '"kind":"blank"')
matches=$(cat "${traces[@]}" | grep -acF "$text")
echo "$lines lines, $(stat -c %s $place/trace.html) bytes of page"
node scripts/trace-page-test.mjs "$browser" $place/trace.html "$lines" "$text" "$matches" $place
