-- What one can ask of the Unicode Character Database. Each query is shown with its plan and its time.
.echo on
.plan on
.timer on

.print 1. Numbers from a million on: a key range on the first of two index columns
.print
SELECT code, character, numeric_value, name FROM code_point
 WHERE numeric_value >= 1000000 ORDER BY numeric_value, code;

.print
.print 2. Capitals outside the first plane: an equality and a range, two columns of an index
.print
SELECT p.code, p.character, p.name
  FROM category c JOIN code_point p ON p.category = c
 WHERE c.code = 'Lu' AND p.code BETWEEN 125184 AND 125192 ORDER BY p.code DESC;

.print
.print 3. Names with a prefix: a range of an index on text, which nothing needs to check again
.print
SELECT code, character, name, decomposition FROM code_point
 WHERE name LIKE 'GREEK SMALL LETTER ALPHA%' ORDER BY name LIMIT 8;

.print
.print 4. One character, two UTF-16 units: '_' matches it, '__' does not
.print
SELECT code, character, digit, name FROM number
 WHERE code > 65535 AND character LIKE '_' AND NOT character LIKE '__' AND digit = 7
 ORDER BY code LIMIT 6;

.print
.print 5. Paths through references, without a join; a NULL step gives NULL
.print
SELECT code, character, script.name AS script, block.name AS block,
       uppercase.character AS capital, uppercase.block.name AS block_of_capital
  FROM code_point WHERE name LIKE 'LATIN SMALL LETTER Y%' ORDER BY name LIMIT 10;

.print
.print 6. Class membership: the numbers among the enclosed alphanumerics
.print
SELECT code, character, category.code AS category, numeric_value FROM code_point p
 WHERE code BETWEEN 9312 AND 9471 AND is_a(p, 'number') ORDER BY code LIMIT 5;

.print
.print 7. The rows of a derived table, with columns of its base
.print
SELECT code, character, category.name AS category, name, digit FROM number
 WHERE decimal_digit IS NULL AND digit IS NOT NULL ORDER BY code LIMIT 5;

.print
.print 8. The last code points: an index read backwards
.print
SELECT code, category.code AS category, name FROM code_point ORDER BY code DESC LIMIT 5;

.print
.print 9. Numbers that six decimal places do not hold: NULL keys and NULL tests
.print
SELECT code, character, numeric_text, name FROM code_point
 WHERE numeric_value IS NULL AND numeric_text IS NOT NULL ORDER BY code LIMIT 6;

.print
.print 10. Arithmetic on decimals: percentages, remainders and reciprocals of fractions
.print
SELECT code, character, numeric_value, numeric_value * 100 AS percent,
       1 - numeric_value AS rest, 1 / numeric_value AS reciprocal
  FROM code_point WHERE numeric_value > 0 AND numeric_value < 0.04 ORDER BY numeric_value, code;

.print
.print 11. Numbers per block and category: count, least, greatest and exact average
.print
SELECT block.name AS block, category.code AS category, count(*), min(numeric_value),
       max(numeric_value), avg(numeric_value)
  FROM code_point WHERE numeric_value IS NOT NULL
 GROUP BY block.name, category.code ORDER BY count(*) DESC, block.name, category.code LIMIT 8;

.print
.print 12. Two sort keys in opposite directions; NULL first
.print
SELECT numeric_value, name, code FROM code_point
 WHERE code BETWEEN 8528 AND 8542 ORDER BY numeric_value, name DESC;

.print
.print 13. A join whose right side takes its key range from the left row
.print
SELECT b.first, b.name, count(*) FROM block b
  JOIN code_point p ON p.code BETWEEN b.first AND b.last
 WHERE b.first < 1792 GROUP BY b.first, b.name ORDER BY b.first;

.print
.print 14. A left join through a reference: small letters and their capitals, where they have one
.print
SELECT p.code, p.character, q.code AS capital, q.character, q.name FROM code_point p
  LEFT JOIN code_point q ON q = p.uppercase
 WHERE p.code BETWEEN 8048 AND 8064 ORDER BY p.code;

.print
.print 15. A full join of two alphabets' letters on a condition that no index serves
.print
SELECT h.character AS hebrew, h.name, p.character AS phoenician, p.name
  FROM (SELECT code, character, name FROM code_point WHERE code BETWEEN 1488 AND 1494) h
  FULL JOIN (SELECT code, character, name FROM code_point WHERE code BETWEEN 67843 AND 67849) p
    ON h.code - 1488 = p.code - 67840
 ORDER BY h.code, p.code;

.print
.print 16. The two ends of the code space: a union of two ranges
.print
SELECT code, category.code AS category, name FROM code_point WHERE code < 3
 UNION ALL
SELECT code, category.code, name FROM code_point WHERE code > 917998 ORDER BY code;

.print
.print 17. A page of names, of a prepared statement
.print
PREPARE page AS SELECT name, code FROM code_point ORDER BY name LIMIT $1 OFFSET $2;
EXECUTE page (5, 10000);

.print
.print 18. Counts, and counts of distinct values and pairs; a NULL counts once
.print
SELECT count(*), count(numeric_value) AS numbers, count(DISTINCT category) AS categories,
       count(DISTINCT numeric_value) AS values, count(DISTINCT category, bidi_class) AS pairs
  FROM code_point;
