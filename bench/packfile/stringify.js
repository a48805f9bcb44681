// Reads the benchmark's points once, then writes a document for every line on standard input and
// answers with an empty line.
const fs = require('fs');
const readline = require('readline');

const points = fs.readFileSync(process.argv[2], 'utf8').trimEnd().split('\n').map(line => {
    const [channel, device, id, name, unit, value] = line.split('\t');
    return {channel: +channel, device: +device, id: +id, name, unit, value: +value};
});

function writeDocument() {
    const devices = [];
    let last = null;
    for (const point of points) {
        if (last === null || last.id !== point.device || last.channel !== point.channel) {
            last = {id: point.device, channel: point.channel, node: []};
            devices.push(last);
        }
        last.node.push({
            dblink: point.id.toString(16).padStart(8, '0'),
            name: point.name,
            unit: point.unit,
            value: point.value.toFixed(3),
        });
    }
    fs.writeFileSync('/tmp/S20240305070809.other',
        JSON.stringify({logdt: '2024-03-05 07:08:09', device: devices}));
}

readline.createInterface({input: process.stdin}).on('line', () => {
    writeDocument();
    process.stdout.write('\n');
});
