-- The load: wrk -t N -c N -s load.lua URL -- REQUESTS SECONDS LEAST RESULT [close]
-- Each thread sends for some SECONDS, and LEAST requests, and for as long as there is a
-- file RESULT.hold. The last one ends wrk, which would
-- wait for longer; RESULT says what was sent and answered.
-- One connection a thread, so that an answer belongs to the request before it. Each
-- request carries "load THREAD-NUMBER-ROW" as its User-Agent.

local threads = {}

function setup(thread)
  threads[#threads + 1] = thread
  thread:set("number", #threads)
end

function init(args)
  rows = dofile(args[1])
  deadline = os.time() + tonumber(args[2])
  close = args[5] == "close"
  least, result = tonumber(args[3]), args[4]
  sent, wrong, unanswered, current = 0, "", "", nil
  probed = number ~= 1 -- wrk asks its first thread for one request that it does not send
end

function request()
  if current then
    unanswered = unanswered .. " " .. current
    cut_off = true -- wrk keeps what came, and puts the next answer behind it
  end
  local place = (sent + 1 + 5 * number) % #rows + 1
  local row = rows[place]
  local headers = { ["User-Agent"] = "load " .. number .. "-" .. (sent + 1) .. "-" .. place }
  -- A server with few workers must not wait for those of us that have ended.
  if close or os.time() >= deadline - 1 then headers["Connection"] = "close" end
  for name, value in pairs(row.headers) do headers[name] = value end
  if probed then
    sent = sent + 1
    current = number .. "-" .. sent .. "-" .. place
  end
  probed = true
  return wrk.format(row.method, row.path, headers, row.body)
end

function response(status, headers, body)
  local row = rows[tonumber(string.match(current, "%d+$"))]
  local cut = row.answer and #body < #row.answer and string.sub(row.answer, 1, #body) == body
  if status >= 502 or cut then -- by the server in front: nobody knows how far PHP came
    unanswered = unanswered .. " " .. current
  elseif status ~= 200 or row.answer and body ~= row.answer
      and not (cut_off and string.sub(body, -#row.answer) == row.answer)
      or row.evidence and string.find(body, row.evidence, 1, true) then
    wrong = wrong .. " " .. current .. ":" .. status
  end
  current, cut_off = nil, nil
  if os.time() >= deadline and sent >= least and not os.rename(result .. ".hold", result .. ".hold") then
    wrk.thread:stop()
    -- Later, because who runs a command is deaf to this signal meanwhile.
    os.execute("cd '" .. result .. ".d' && rm " .. number .. " && rmdir ../load.txt.d 2>/dev/null && sleep 0.2 && kill -INT $PPID &")
  end
end

function done()
  local file = io.open(threads[1]:get("result"), "w")
  for place, thread in ipairs(threads) do
    local open = thread:get("unanswered")
    if thread:get("current") then open = open .. " " .. thread:get("current") end
    file:write("sent ", thread:get("sent"), "\nwrong", thread:get("wrong"), "\nunanswered", open, "\n")
  end
  file:close()
end
