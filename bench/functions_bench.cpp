// Google Benchmark rows: the processor time of single workloads and how it grows.

#include <benchmark/benchmark.h>

#include <chrono>

#include "bench/meter.h"
#include "bench/workloads.h"

namespace {

using benchmark::Counter;
using benchmark::State;

// The row's time is the daemon's processor time. wallUs: elapsed time.
void runWorkload(State& state, const sWorkload& workload) {
    double wallS = 0;
    for (auto _ : state) {
        workload.prepare();
        const auto start = std::chrono::steady_clock::now();
        state.SetIterationTime(measure(workload.run));
        wallS += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    }
    state.counters["wallUs"] = Counter(wallS * 1e6, Counter::kAvgIterations);
}

void runSized(State& state, sWorkload (*make)(size_t)) {
    runWorkload(state, make(static_cast<size_t>(state.range(0))));
}

void Poll(State& state) {
    runWorkload(state, poll());
}
void BringUp(State& state) {
    runWorkload(state, bringUp());
}
void StatusFiles(State& state) {
    runWorkload(state, statusFiles());
}
// The floor of StatusFiles.
void FourFiles(State& state) {
    runWorkload(state, fourFiles());
}
void ReadOperatorList(State& state) {
    runSized(state, readOperatorList);
    state.counters["bytes"] =
        static_cast<double>(operatorListBytes(static_cast<size_t>(state.range(0))));
}
void ParseOperatorList(State& state) {
    runSized(state, parseOperatorList);
}
void WriteOperatorFile(State& state) {
    runSized(state, writeOperatorFile);
}
void ReceiveParts(State& state) {
    runSized(state, receiveParts);
}
void CheckWaitingParts(State& state) {
    runSized(state, checkWaitingParts);
}
void SendFromFolder(State& state) {
    runSized(state, sendFromFolder);
}
// The number of writers includes this one.
void StoreBatch(State& state) {
    const cStoreWriters others(static_cast<size_t>(state.range(0)) - 1);
    runWorkload(state, storeBatch());
}

void configure(benchmark::internal::Benchmark* row) {
    row->UseManualTime()->Unit(benchmark::kMicrosecond);
}
void configureScale(benchmark::internal::Benchmark* row) {
    configure(row);
    row->Arg(10)->Arg(100)->Arg(1000)->Arg(10000);
}

BENCHMARK(Poll)->Apply(configure);
BENCHMARK(BringUp)->Apply(configure);
BENCHMARK(StatusFiles)->Apply(configure);
BENCHMARK(FourFiles)->Apply(configure);
// 100 kB are 3,000 lines.
BENCHMARK(ReadOperatorList)->Apply(configureScale)->Arg(3000);
BENCHMARK(ParseOperatorList)->Apply(configureScale);
BENCHMARK(WriteOperatorFile)->Apply(configureScale);
BENCHMARK(ReceiveParts)->Apply(configure)->Arg(3)->Arg(30)->Arg(120)->Arg(240);
BENCHMARK(CheckWaitingParts)->Apply(configure)->Arg(1)->Arg(10)->Arg(100)->Arg(1000);
BENCHMARK(SendFromFolder)->Apply(configure)->Arg(1)->Apply(configureScale);
BENCHMARK(StoreBatch)->Apply(configure)->DenseRange(1, 3);

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    connectGateway();
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
