// What is drawn beside the board: scores, lines, moves, the bar, the graph, the report.

const SVG = "http://www.w3.org/2000/svg";

// A score as people write it: "+0.35", "#-3".
export function scoreText({ score, mate }) {
  if (mate !== null) return `#${mate}`;
  return `${score > 0 ? "+" : ""}${(score / 100).toFixed(2)}`;
}

// White's share of the game, 0 to 1.
function share({ score, mate }) {
  if (mate !== null) return mate > 0 ? 1 : 0;
  return 1 / (1 + Math.exp(-0.006 * score));
}

// `line` is the last one about the position, or nothing; `over` tells how the game has ended there,
// or is null.
export function showBar(element, line, over) {
  const ended = over && ({ "1-0": 1, "0-1": 0 }[over.result] ?? 0.5);
  const part = ended ?? (line ? share(line) : 0.5);
  element.firstElementChild.style.height = `${(part * 100).toFixed(1)}%`;
  element.setAttribute("aria-label",
                       over?.text ?? `Evaluation: ${line ? scoreText(line) : "not known"}`);
}

// `lines`: { line, words } by number, with words as moves for people.
export function showLines(element, lines) {
  element.replaceChildren(...lines.filter(Boolean).map(({ line, words }) => {
    const item = document.createElement("li");
    const score = document.createElement("strong");
    score.textContent = scoreText(line);
    item.append(score, ` depth ${line.depth}: ${words.join(" ")}`);
    return item;
  }));
}

export const speedText = ({ nodes, nps, time }) =>
  `${(nodes / 1e6).toFixed(2)} million nodes, ${Math.round(nps / 1000)} thousand a second, `
  + `${(time / 1000).toFixed(1)} s`;

// The list of the moves; `go` is called with the ply behind the one that is chosen.
export function showMoves(element, game, go) {
  const [, side, , , , first] = game.fen.split(" ");
  const items = game.moves.map((move, index) => {
    const half = index + (side === "w" ? 0 : 1);
    const number = Number(first) + Math.floor(half / 2);
    const item = document.createElement("li");
    const button = document.createElement("button");
    button.textContent = half % 2 === 0 ? `${number}. ${move.san}`
      : index === 0 ? `${number}… ${move.san}` : move.san;
    if (index + 1 === game.at) button.setAttribute("aria-current", "true");
    button.onclick = () => go(index + 1);
    item.append(button);
    return item;
  });
  const focused = element.contains(document.activeElement);
  element.replaceChildren(...items);
  const current = element.querySelector("[aria-current]");
  if (focused) (current ?? element).focus({ preventScroll: true });
  // Only the list itself is scrolled, never the page.
  if (current) element.scrollTop = current.offsetTop - element.offsetTop - 40;
}

function draw(name, attributes) {
  const element = document.createElementNS(SVG, name);
  for (const [attribute, value] of Object.entries(attributes))
    element.setAttribute(attribute, value);
  element.setAttribute("vector-effect", "non-scaling-stroke");
  return element;
}

// The course of the game in a picture of 100 by 30. `lines` has a line or nothing for each ply from
// the beginning on.
export function showGraph(element, lines, at, plies) {
  const width = Math.max(plies, 1);
  const x = (ply) => ((ply / width) * 100).toFixed(2);
  const y = (line) => (30 - share(line) * 30).toFixed(2);
  const points = [...lines].map((line, ply) => line && `${x(ply)},${y(line)}`).filter(Boolean);
  element.replaceChildren(
    draw("line", { x1: 0, y1: 15, x2: 100, y2: 15, class: "level" }),
    draw("line", { x1: x(at), y1: 0, x2: x(at), y2: 30, class: "here" }),
    draw("polyline", { points: points.join(" "), class: "course" }),
  );
}

// The terms of a report by side, as a table with a bar on either side of its middle.
export function showReport(table, note, explanation) {
  const rows = table.tBodies[0];
  rows.replaceChildren();
  if (!explanation) {
    note.textContent =
      "There is no report on this position: it is known exactly, or in nobody's turn.";
    return;
  }
  const { terms, network, byHand } = explanation.report;
  const values = terms.flatMap(({ white, black }) => [Math.abs(white), Math.abs(black)]);
  const most = Math.max(50, ...values);
  for (const { name, white, black } of terms) {
    const row = rows.insertRow();
    const head = document.createElement("th");
    head.scope = "row";
    head.textContent = name === "ppawns" ? "free pawns" : name;
    row.append(head);
    for (const [value, side] of [[white, "white"], [black, "black"]]) {
      const cell = row.insertCell();
      cell.textContent = (value / 100).toFixed(2);
      cell.className = `term ${side} ${value < 0 ? "bad" : "good"}`;
      cell.style.setProperty("--part", `${(Math.abs(value) / most) * 100}%`);
    }
  }
  note.textContent = `By hand ${scoreText({ score: byHand, mate: null })}, by the network `
    + `${scoreText({ score: network, mate: null })}. On the board: what each side would lose `
    + "without the piece. Red rings: pieces that hang; green rings: free pawns.";
}
