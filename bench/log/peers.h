#pragma once

namespace corvenna::bench {

/// The message that every contender logs: 95 characters with the two texts in it.
constexpr char kFormat[] = "start Send file %s to %s";
constexpr char kPath[] = "/tmp/up/S20240305070809.json";
constexpr char kUrl[] = "http://192.168.1.20:8080/cloud/realdata/GW00123";

/// Messages in a burst; the peers' queues take it, so that nobody waits for a writer.
constexpr int kBurstMessages = 20000;

// Each library is set up once, by the first Prepare. Write returns when all is written.

void PrepareSpdlog();
void LogBySpdlog(int messages);
void WriteSpdlog();

void PrepareBoostLog();
void LogByBoostLog(int messages);
void WriteBoostLog();

void PrepareGlog();
void LogByGlog(int messages);

}  // namespace corvenna::bench
