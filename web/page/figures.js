// SPDX-License-Identifier: Apache-2.0
// The live figures of the server, for its operator: /metrics every two seconds, while they are shown.

import {element} from './text.js';

const kEveryMs = 2000;
const kKept = 60; // readings, two minutes
const kChart = {
  width: 120,
  height: 40
};

/** {name: {labels: value}} of the text form of metrics. */
export function readMetrics(text) {
  const metrics = {};
  for (const line of text.split('\n')) {
    const [, name, labels, value] = /^(\w+)(?:\{(.*)\})? (\S+)$/.exec(line) ?? [];
    if (name !== undefined) (metrics[name] ??= {})[labels ?? ''] = Number(value);
  }
  return metrics;
}

/** The least bound below which half of a histogram's values lie, in its unit; null: there are none. */
export function medianOf(histogram, label) {
  const buckets = Object.entries(histogram ?? {}).filter(([labels]) => labels.includes(label));
  const bounds =
    buckets.map(([labels, count]) => [Number(/le="([^"]*)"/.exec(labels)[1].replace('+Inf', 'Infinity')), count]);
  bounds.sort(([a], [b]) => a - b);
  const total = bounds.at(-1)?.[1] ?? 0;
  return total === 0 ? null : bounds.find(([, count]) => count >= total / 2)[0];
}

/** How many recognitions there were, of those whose labels have a part; look-ups by ids are none. */
function recognitions(metrics, part = '') {
  const isOne = (labels) => /kind="(fingerprint|json_recognise)"/.test(labels) && labels.includes(part);
  const counts = Object.entries(metrics.tarn_requests_total ?? {}).filter(([labels]) => isOne(labels));
  return counts.reduce((sum, [, count]) => sum + count, 0);
}

/** What is shown, as [name, text]. */
export function figuresOf(metrics) {
  const median = medianOf(metrics.tarn_request_seconds_bucket, 'stage="total"');
  const one = (name) => String(metrics[name]?.[''] ?? 'not known');
  return [
    ['Recordings', one('tarn_catalogue_recordings')],
    ['Catalogue', metrics.tarn_catalogue_up?.[''] === 1 ? 'available' : 'not available'],
    ['Recognitions', String(recognitions(metrics))],
    ['Matched', String(recognitions(metrics, 'outcome="matched"'))],
    ['Not found', String(recognitions(metrics, 'outcome="not_found"'))],
    ['Half of all requests within', median === null ? 'no request yet' : `${median * 1000} ms`],
    ['Waiting', one('tarn_requests_waiting')],
    ['Connections', one('tarn_connections')],
  ];
}

/** Shows the figures while the element details is open. */
export function showFigures(details, {note, list, line}) {
  let timer = 0;
  let readings = [];

  async function look() {
    try {
      const response = await fetch('metrics', {cache: 'no-store'});
      if (!response.ok) throw new Error(`status ${response.status}`);
      const metrics = readMetrics(await response.text());
      note.textContent = '';
      list.replaceChildren(...figuresOf(metrics).map(
        ([name, text]) => element('div', {}, element('dt', {}, name), element('dd', {}, text))));
      readings = [...readings, recognitions(metrics)].slice(-kKept);
      draw(readings, line);
    } catch {
      note.textContent = 'The figures cannot be read here. The server may be gone, or its proxy keeps them private.';
      list.replaceChildren();
    }
    if (details.open) timer = setTimeout(look, kEveryMs);
  }

  details.addEventListener('toggle', () => {
    clearTimeout(timer);
    if (details.open) look();
  });
}

function draw(readings, line) {
  const rates = readings.slice(1).map((count, i) => Math.max(0, count - readings[i]) * 1000 / kEveryMs);
  const most = Math.max(1, ...rates);
  const x = (i) => kChart.width - (rates.length - 1 - i) * kChart.width / kKept;
  const y = (rate) => kChart.height - 1 - rate / most * (kChart.height - 2);
  line.setAttribute('points', rates.map((rate, i) => `${x(i).toFixed(1)},${y(rate).toFixed(1)}`).join(' '));
}
