// Requests to the service. The token is kept for this tab only, and goes in a header, never in an address.

const tokenKey = "velq-token";
const tabs = new BroadcastChannel("velq");
let whenRefused = () => {};

export class Problem extends Error {
  constructor(status, type, detail) {
    super(detail);
    this.status = status;
    this.type = type;
  }
}

export function token() {
  return sessionStorage.getItem(tokenKey);
}

export function keepToken(text) {
  sessionStorage.setItem(tokenKey, text);
}

export function forgetToken() {
  sessionStorage.removeItem(tokenKey);
}

async function send(method, path, {body, type, signal} = {}) {
  const headers = {};
  if (token() !== null) {
    headers.Authorization = `Bearer ${token()}`;
  }
  if (type !== undefined) {
    headers["Content-Type"] = type;
  }
  let response;
  try {
    // Without credentials of the browser's own, it does not ask for a password by itself.
    response = await fetch(
        new URL(path, document.baseURI), {method, headers, body, signal, credentials: "omit", cache: "no-store"});
  } catch (error) {
    if (error.name === "AbortError") {
      throw error;
    }
    throw new Problem(0, "", "The service does not answer.");
  }
  if (response.status === 401) {
    const wasWrong = token() !== null;
    forgetToken();
    whenRefused(wasWrong);
  }
  if (!response.ok) {
    const problem = await response.json().catch(() => ({}));
    throw new Problem(
        response.status, problem.type ?? "", problem.detail ?? `The service answered with status ${response.status}.`);
  }
  return response;
}

export async function read(path, parameters = {}, signal = undefined) {
  const query = new URLSearchParams(
      Object.entries(parameters).filter(([, value]) => value !== "" && value !== null && value !== undefined));
  const text = query.toString();
  return (await send("GET", text === "" ? path : `${path}?${text}`, {signal})).json();
}

export async function readText(path) {
  return (await send("GET", path)).text();
}

// What asks something of the service without a change.
export async function ask(path, value) {
  return (await send("POST", path, {body: JSON.stringify(value), type: "application/json"})).json();
}

// What changes something; other tabs hear of it.
export async function change(path, value) {
  const answer = await ask(path, value);
  tabs.postMessage("changed");
  return answer;
}

export async function upload(path, file, type) {
  const answer = await (await send("POST", path, {body: file, type})).json();
  tabs.postMessage("changed");
  return answer;
}

export async function remove(path) {
  const answer = await (await send("DELETE", path)).json();
  tabs.postMessage("changed");
  return answer;
}

// Calls, with whether there was a token, when the service wants another.
export function onRefused(call) {
  whenRefused = call;
}

// Calls when another tab changed something.
export function onChange(call) {
  tabs.addEventListener("message", call);
}
