// Opens a page of `kest trace --html` in a headless Chromium, works with it as a person would, and
// measures how long that takes:
//
//     trace-page-test.mjs BROWSER PAGE LINES TEXT MATCHES PICTURES
//
// LINES is how many rows the page must have, MATCHES how many of them must be found by a search for
// TEXT, PICTURES the folder for pictures in light and dark. TRACE_PAGE_LIMIT is how many milliseconds
// opening and searching may take, 1000 without it. Speaks to the browser through its pipe, so
// that it needs nothing but node.

import { spawn } from "node:child_process";
import { mkdirSync, mkdtempSync, rmSync, writeFileSync } from "node:fs";
import { tmpdir } from "node:os";
import { join, resolve } from "node:path";
import { pathToFileURL } from "node:url";

const [browserPath, page, lines, text, matches, pictures] = process.argv.slice(2);
const kLongest = Number(process.env.TRACE_PAGE_LIMIT ?? 1000);
let wrong = 0;
function check(what, isRight, found) {
  console.log(`${isRight ? "ok   " : "WRONG"} ${what}${found === undefined ? "" : ": " + found}`);
  if (!isRight) ++wrong;
}

// ---- The browser ----

const profile = mkdtempSync(join(tmpdir(), "trace-page-"));
const options = ["--headless=new", "--remote-debugging-pipe", `--user-data-dir=${profile}`, "--no-first-run",
  "--disable-gpu", "--disable-dev-shm-usage", "--hide-scrollbars=false", "--window-size=1440,900", "about:blank"];
if (process.getuid() === 0) options.unshift("--no-sandbox");
const browser = spawn(browserPath, options, { stdio: ["ignore", "ignore", "ignore", "pipe", "pipe"] });
const answers = new Map();
const events = [];
let lastId = 0;
let unread = "";
browser.stdio[4].setEncoding("utf8");
browser.stdio[4].on("data", (bytes) => {
  unread += bytes;
  const messages = unread.split("\0");
  unread = messages.pop();
  for (const message of messages.map((one) => JSON.parse(one))) {
    if (message.id === undefined) { events.push(message); continue; }
    const { settle, fail } = answers.get(message.id);
    if (message.error) fail(new Error(message.error.message)); else settle(message.result);
  }
});
function send(method, params = {}, sessionId = undefined) {
  const id = ++lastId;
  browser.stdio[3].write(JSON.stringify({ id, method, params, sessionId }) + "\0");
  return new Promise((settle, fail) => answers.set(id, { settle, fail }));
}

async function finish() {
  const ended = new Promise((done) => browser.on("exit", done));
  send("Browser.close").catch(() => {});
  const late = setTimeout(() => browser.kill("SIGKILL"), 5000);
  await ended;
  clearTimeout(late);
  rmSync(profile, { recursive: true, force: true });
}

try {
  const { targetId } = await send("Target.createTarget", { url: "about:blank" });
  const { sessionId } = await send("Target.attachToTarget", { targetId, flatten: true });
  const tell = (method, params) => send(method, params, sessionId);
  const evaluate = async (expression) => {
    const answer = await tell("Runtime.evaluate", { expression, awaitPromise: true, returnByValue: true });
    if (answer.exceptionDetails) throw new Error(answer.exceptionDetails.exception?.description ?? answer.exceptionDetails.text);
    return answer.result.value;
  };
  const picture = async (name) => {
    const { data } = await tell("Page.captureScreenshot", { format: "png" });
    writeFileSync(join(pictures, name + ".png"), Buffer.from(data, "base64"));
  };
  const theme = (value) => tell("Emulation.setEmulatedMedia", { features: [{ name: "prefers-color-scheme", value }] });
  const press = async (key, modifiers = 0) => {
    const isText = key.length === 1;
    await tell("Input.dispatchKeyEvent", { type: isText ? "keyDown" : "rawKeyDown", key, modifiers, ...(isText ? { text: key } : { windowsVirtualKeyCode: { ArrowDown: 40, ArrowUp: 38, Enter: 13, Escape: 27, End: 35, Home: 36, Tab: 9 }[key] }) });
    await tell("Input.dispatchKeyEvent", { type: "keyUp", key, modifiers });
  };
  const painted = "new Promise((done) => requestAnimationFrame(() => requestAnimationFrame(() => done(performance.now()))))";
  mkdirSync(pictures, { recursive: true });
  for (const domain of ["Page", "Runtime", "Log", "Network"]) await tell(domain + ".enable");
  await tell("Emulation.setDeviceMetricsOverride", { width: 1440, height: 900, deviceScaleFactor: 1, mobile: false });
  await theme("light");

  // ---- Opening ----

  // The machine may be busy with something else at one time, hardly at all three.
  const openings = [];
  for (let i = 0; i < 3; ++i) {
    await tell("Page.navigate", { url: pathToFileURL(resolve(page)).href });
    openings.push(await evaluate(`new Promise((done) => {
      const look = () => performance.getEntriesByName("trace-ready").length ? ${painted}.then(done) : setTimeout(look, 5);
      look();
    })`));
    const steps = await evaluate(`(() => { const n = performance.getEntriesByType("navigation")[0], at = (name) => Math.round(performance.getEntriesByName(name)[0].startTime); return "file read after " + Math.round(n.responseEnd) + " ms, script begins at " + at("trace-begin") + ", ready at " + at("trace-ready"); })()`);
    console.log("     " + steps + ", painted at " + Math.round(openings[i]));
  }
  check(`opens within ${kLongest} ms`, Math.min(...openings) < kLongest, openings.map((time) => Math.round(time) + " ms").join(", "));
  const rows = await evaluate(`Math.round(parseFloat(document.getElementById("list-all").style.height) / 22)`);
  check("has every line", rows === +lines, rows);
  await picture("light");
  await theme("dark");
  await evaluate(painted);
  await picture("dark");
  const backs = [];
  for (const value of ["light", "dark"]) {
    await theme(value);
    backs.push(await evaluate("getComputedStyle(document.body).backgroundColor"));
  }
  await theme("light");
  check("has a dark and a light face", backs[0] !== backs[1], backs.join(" and "));

  // ---- Searching ----

  const searchFor = (words) => evaluate(`(async () => {
    const input = document.getElementById("search");
    const begin = performance.now();
    input.value = ${JSON.stringify(words)};
    input.dispatchEvent(new Event("input"));
    return await ${painted} - begin;
  })()`);
  const hits = () => evaluate(`document.getElementById("hits").textContent`);
  const times = [];
  for (const words of [text, "e", "nothing has this in it", "/CopyFile.*\\\\d{3}/", text]) times.push(await searchFor(words));
  check(`answers a search within ${kLongest} ms`, Math.max(...times) < kLongest, times.map((time) => Math.round(time) + " ms").join(", "));
  const found = await hits();
  check(`finds ${matches} lines with <${text}>`, Number(found.replace(/[^0-9]/g, "")) === +matches, found);
  check("marks what it found", await evaluate(`document.querySelector("#list mark")?.textContent.toLowerCase() === ${JSON.stringify(text.toLowerCase())}`));
  await picture("search");
  await searchFor("/(/");
  check("says what is no regular expression", (await hits()) === "no regular expression", await hits());

  // ---- The keyboard alone ----

  const chosen = () => evaluate(`(() => { const row = document.querySelector('.row[aria-selected="true"]'); return row ? row.className + "|" + row.dataset.row : ""; })()`);
  await evaluate(`document.getElementById("search").focus()`);
  await press("Escape");
  check("Escape clears the search", (await hits()) === "" && (await evaluate(`document.activeElement.id`)) === "list");
  await press("Home");
  check("Home chooses the first line", (await chosen()).endsWith("|0"), await chosen());
  await press("ArrowDown");
  await press("j");
  check("arrows and J go on", (await chosen()).endsWith("|2"), await chosen());
  await press("e");
  check("E goes to an error", /^row (error|critical)\|/.test(await chosen()), await chosen());
  await press("e");
  await press("z");
  await evaluate(painted);
  await picture("error");
  await theme("dark");
  await evaluate(painted);
  await picture("error-dark");
  await press("?");
  check("? tells the keys", await evaluate(`document.getElementById("help").open`));
  await evaluate(painted);
  await picture("keys-dark");
  await press("Escape");
  await theme("light");
  await press("0");
  await press("/");
  check("/ begins a search", (await evaluate(`document.activeElement.id`)) === "search");
  for (const letter of "</script") await press(letter);
  await press("Enter");
  await evaluate(painted);
  check("Enter goes to a match, markup in it shown as text", await evaluate(`document.querySelector("#detail pre").textContent.includes("</script>")`), await hits());
  await picture("nuisance");
  await press("Escape");
  await press("End");
  check("End chooses the last line", (await chosen()).endsWith("|" + (lines - 1)), await chosen());

  // ---- What must not happen ----

  check("no element came from the trace", (await evaluate(`document.querySelectorAll("script").length + "," + document.querySelectorAll("img,iframe,object,link,a").length`)) === "1,0");
  const requests = events.filter((event) => event.method === "Network.requestWillBeSent").map((event) => event.params.request.url);
  check("asks for nothing but itself", requests.every((url) => url.startsWith("file:") || url.startsWith("data:") || url.startsWith("about:")) && requests.length === openings.length, requests.length + " requests for " + openings.length + " openings");
  check("no window was opened by the trace", !events.some((event) => event.method === "Page.javascriptDialogOpening"));
  const complaints = events.filter((event) => event.method === "Runtime.exceptionThrown" || event.method === "Log.entryAdded" || (event.method === "Runtime.consoleAPICalled" && event.params.type === "error"));
  check("the browser complains of nothing", complaints.length === 0, complaints.length ? JSON.stringify(complaints[0].params).slice(0, 400) : undefined);
} catch (error) {
  check("the page can be worked with", false, error.stack);
} finally {
  await finish();
}
process.exit(wrong ? 1 : 0);
