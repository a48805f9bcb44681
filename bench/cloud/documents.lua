-- Requests for wrk: real-data documents of 100 points, each of another gateway or time.
local threads = 0
local counter = 0
local gateways = 32  -- of each thread
local headers = {["Content-Type"] = "application/json;charset=UTF-8"}

function setup(thread)
    thread:set("number", threads)
    threads = threads + 1
end

function init(args)
    local nodes = {}
    for point = 1, 100 do
        nodes[point] = string.format(
            '{"dblink":"0201%04x","name":"Point %d","unit":"V","value":"%%s.%03d"}', point, point,
            point)
    end
    body = '{"logdt":"%s","device":[{"id":1,"channel":2,"node":[' .. table.concat(nodes, ",") ..
        ']}]}'
    begin = tonumber(args[1]) or os.time()
end

function request()
    local sn = string.format("B%d-%d", number, counter % gateways)
    local time = os.date("!%Y-%m-%d %H:%M:%S", begin + math.floor(counter / gateways))
    local value = tostring(200 + counter % 50)
    counter = counter + 1
    return wrk.format("POST", "/realdata/" .. sn, headers,
                      (body:gsub("%%s", value):gsub(value, time, 1)))
end

function done(summary, latency)
    io.write(string.format("answers %d\nseconds %.3f\nrefused %d\nbytes %d\np99 %.3f\n",
                           summary.requests, summary.duration / 1e6, summary.errors.status +
                           summary.errors.read + summary.errors.write + summary.errors.timeout,
                           summary.bytes, latency:percentile(99) / 1000))
end
