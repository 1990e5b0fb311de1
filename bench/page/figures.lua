-- What bench/run.php reads: p50 and p99 in microseconds, and requests a second.
function done(summary, latency)
  local errors = summary.errors
  if errors.connect + errors.read + errors.write + errors.status + errors.timeout > 0 then
    print("errors: status " .. errors.status .. ", connect " .. errors.connect)
    os.exit(1)
  end
  print(latency:percentile(50), latency:percentile(99), summary.requests / summary.duration * 1e6)
end
