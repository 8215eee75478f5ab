-- For wrk: posts the bodies of a file, one a line, one after the other.
-- wrk ... -s messages.lua URL -- FILE CONTENT-TYPE [HEADER VALUE]...
local thread_count = 0
local totals = {}

function setup(thread)
  thread:set("first", thread_count * 7919)
  thread_count = thread_count + 1
  table.insert(totals, thread)
end

function init(arguments)
  bodies = {}
  for line in io.lines(arguments[1]) do
    -- A line holds a body with its line ends written as \n, where the third argument says so.
    if arguments[3] == "lines" then
      line = line:gsub("\\n", "\n")
    end
    bodies[#bodies + 1] = wrk.format("POST", nil, { ["Content-Type"] = arguments[2] }, line)
  end
  at = first % #bodies
  other = 0
end

function request()
  at = at % #bodies + 1
  return bodies[at]
end

function response(status)
  if status ~= 200 then
    other = other + 1
  end
end

function done(summary, latency)
  local refused = 0
  for _, thread in ipairs(totals) do
    refused = refused + thread:get("other")
  end
  local errors = summary.errors
  io.write(string.format(
    '{"requests": %d, "seconds": %.3f, "p50": %.3f, "p99": %.3f, "p999": %.3f, "most": %.3f, "refused": %d, "errors": %d}\n',
    summary.requests, summary.duration / 1e6, latency:percentile(50) / 1e3, latency:percentile(99) / 1e3,
    latency:percentile(99.9) / 1e3, latency.max / 1e3, refused,
    errors.connect + errors.read + errors.write + errors.timeout))
end
