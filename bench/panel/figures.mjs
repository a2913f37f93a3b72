// Medians, percentiles, and the table of rows.

export function percentile(values, percent) {
  const sorted = [...values].sort((left, right) => left - right);
  return sorted[Math.min(sorted.length - 1, Math.ceil((percent / 100) * sorted.length) - 1)];
}

export const median = (values) => percentile(values, 50);

// How far the middle half lies apart, in parts of the median.
export function spread(values) {
  const middle = median(values);
  return middle === 0 ? 0 : (percentile(values, 75) - percentile(values, 25)) / Math.abs(middle);
}

function text(figure) {
  if (Number.isInteger(figure)) return String(figure);
  return Math.abs(figure) >= 100 ? figure.toFixed(0) : figure.toPrecision(3);
}

export function printTable(rows, isMarkdown) {
  const cells = [["row", "figure", "unit", "target", "spread", "met"],
    ...rows.map((each) => [each.row, text(each.figure), each.unit, each.target, `${Math.round(100 * each.spread)} %`, each.met ? "yes" : "no"])];
  if (isMarkdown) {
    cells.splice(1, 0, ["---", "---:", "---", "---", "---:", "---"]);
    for (const line of cells) console.log(`| ${line.join(" | ")} |`);
    return;
  }
  const widths = cells[0].map((_, column) => Math.max(...cells.map((line) => line[column].length)));
  for (const line of cells) console.log(line.map((cell, column) => (column === 1 || column === 4 ? cell.padStart(widths[column]) : cell.padEnd(widths[column]))).join("  ").trimEnd());
}
