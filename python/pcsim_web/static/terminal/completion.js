// Tab: what the last word of a line may become.

function commonStart(words) {
  let start = words[0];
  for (const word of words) while (!word.startsWith(start)) start = start.slice(0, -1);
  return start;
}

/** The line with its last word as long as it is certain, and the words to choose from when that
 * changes nothing. `answer` is {candidates, from}. */
export function completed(line, {candidates, from}) {
  if (candidates.length === 0) return {line, choices: []};
  const before = line.slice(0, from);
  if (candidates.length === 1) return {line: `${before}${candidates[0]} `, choices: []};
  const start = commonStart(candidates);
  const longer = before + start;
  return longer.length > line.length ? {line: longer, choices: []} : {line, choices: candidates};
}

/** Words below each other in columns, as wide as the terminal. */
export function inColumns(words, width) {
  const wide = Math.max(...words.map((word) => word.length)) + 2;
  const across = Math.max(1, Math.floor(width / wide));
  const down = Math.ceil(words.length / across);
  const lines = Array.from({length: down}, (_, n) => words.filter((__, at) => at % down === n)
    .map((word) => word.padEnd(wide)).join("").trimEnd());
  return `${lines.join("\n")}\n`;
}
